#pragma once

#include "app/Global.h"
#include "app/MainWindow.h"
#include "gpu/BrushType.h"
#include "gpu/CameraWindow.h"
#include "layers/Layer.h"
#include "layers/LayerManager.h"
#include "timeline/Timeline.h"
#include "tools/Driver.h"
#include "viewport/Viewport.h"

#include <QFile>
#include <QSignalMapper>

#include <random>

/// An artist who does one thing after another at random, by mouse and keys where the program has
/// them, over one archive and one scene file. The same seed does the same.
class RandomHands {
public:
    RandomHands(QString archivePath, QString scenePath, quint32 seed)
        : m_archivePath(std::move(archivePath))
        , m_scenePath(std::move(scenePath))
        , m_random(seed)
    {
    }

    void import()
    {
        Driver::answerFileDialog(m_archivePath);
        window()->importAlembic();
        Driver::key(window(), Qt::Key_F);
    }

    /// One thing that changes the scene, or looks at it.
    void work()
    {
        if (Global::layers().empty() || (one(12) && Global::layers().size() < 6))
            return addLayer();
        switch (below(9)) {
        case 0:
            return scrub();
        case 1:
            return play();
        case 2:
            return Driver::key(window(), one(2) ? Qt::Key_Z : Qt::Key_Y, Qt::ControlModifier);
        case 3:
            return layer()->setIntensity(float(below(100)) / 100.0f);
        case 4:
            return layer()->select();
        default:
            return stroke();
        }
    }

    /// One thing that replaces the scene or opens a window.
    void turnOver()
    {
        switch (below(6)) {
        case 0:
            return import();
        case 1:
            Driver::answerFileDialog(m_scenePath);
            return window()->openScene();
        case 2:
            Driver::answerMessageBox(QMessageBox::Discard);
            window()->newScene();
            return import();
        case 3:
            return Global::cameraWindow()->setVisible(!Global::cameraWindow()->isVisible());
        case 4:
            return Global::auxViewport()->setCameraName(one(2) ? QStringLiteral("perspective")
                                                               : QString());
        default:
            return save();
        }
    }

    void save()
    {
        if (Global::scenePath() == QLatin1String("untitled")) {
            QFile::remove(m_scenePath); // or the dialog would ask about it
            Driver::answerFileDialog(m_scenePath);
        }
        window()->saveScene();
    }

    int below(int limit) { return int(m_random() % quint32(limit)); }
    bool one(int in) { return below(in) == 0; }

private:
    static MainWindow *window() { return Global::mainWindow(); }
    Layer *layer() { return Global::layers()[size_t(below(int(Global::layers().size())))]; }

    void addLayer()
    {
        QSignalMapper *kinds = Global::layerManager()->mapper();
        emit kinds->mappedInt(below(5));
    }

    void scrub()
    {
        Timeline *ruler = Global::timeline();
        const int middle = ruler->height() / 2;
        Driver::drag(ruler, { below(ruler->width()), middle }, { below(ruler->width()), middle },
                     4);
    }

    void play()
    {
        Global::timeline()->playPause();
        QTest::qWait(100 + below(400));
        Global::timeline()->playPause();
    }

    void stroke()
    {
        Global::setCurrentBrush(below(int(BrushType::Mask) + 1));
        Global::setBrushStrength(0.2f);
        QWidget *view = Global::viewport();
        const QPoint middle = view->rect().center();
        const auto near = [&] { return middle + QPoint(below(160) - 80, below(160) - 80); };
        Driver::drag(view, near(), near(), 6, Qt::LeftButton,
                     one(4) ? Qt::ShiftModifier : Qt::NoModifier);
    }

    QString m_archivePath;
    QString m_scenePath;
    std::mt19937 m_random;
};
