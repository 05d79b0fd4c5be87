#pragma once

#include "alembic/AlembicFile.h"
#include "app/Global.h"
#include "app/MainWindow.h"
#include "gpu/GPUMesh.h"
#include "layers/CommandStack.h"
#include "layers/Layer.h"
#include "layers/LayerManager.h"
#include "timeline/TimeControls.h"
#include "timeline/Timeline.h"
#include "tools/Driver.h"
#include "viewport/MeshScope.h"
#include "viewport/ScreenRay.h"
#include "viewport/Viewport.h"
#include "widgets/BrushButton.h"

#include <QFile>
#include <QPushButton>

#include <cmath>

/// The main job from end to end, one station after the other, by mouse and keys alone: import,
/// play, scrub, add a layer, stroke, ride, undo, redo, save, new, open. The demo takes its pictures
/// at these stations.
class Road {
public:
    struct Station {
        QString name;
        QString checked; ///< what was seen
        bool good = false;
    };

    Road(QString archivePath, QString scenePath)
        : m_archivePath(std::move(archivePath))
        , m_scenePath(std::move(scenePath))
    {
    }

    Station importArchive()
    {
        Driver::answerFileDialog(m_archivePath);
        Driver::key(window(), Qt::Key_I, Qt::ControlModifier);
        view()->setFocus();
        Driver::key(window(), Qt::Key_F);
        const int vertices = Global::mesh()->vertexCount();
        const int drawn = meshPixels(view()->grabFramebuffer());
        return { QStringLiteral("import"),
                 QStringLiteral("%1 vertices, frames %2 to %3, the mesh covers %4 pixels")
                     .arg(vertices)
                     .arg(timeline()->minFrame())
                     .arg(timeline()->maxFrame())
                     .arg(drawn),
                 vertices > 0 && drawn > 1000 };
    }

    Station play()
    {
        auto *button = Global::timeControls()->findChild<QPushButton *>();
        int shown = 0;
        int last = timeline()->currentFrame();
        Driver::click(button);
        for (int i = 0; i < 400 && shown < 5; ++i) {
            QTest::qWait(10);
            shown += timeline()->currentFrame() != last;
            last = timeline()->currentFrame();
        }
        Driver::click(button);
        return { QStringLiteral("play"),
                 QStringLiteral("%1 frames were shown, stopped at frame %2")
                     .arg(shown)
                     .arg(timeline()->currentFrame()),
                 shown >= 5 && !timeline()->playing() };
    }

    Station scrub(int frame)
    {
        const int start = timeline()->currentFrame() == frame ? timeline()->rangeStart()
                                                              : timeline()->currentFrame();
        Driver::drag(timeline(), rulerPixel(start), rulerPixel(frame), 6);
        return { QStringLiteral("scrub"),
                 QStringLiteral("the ruler stands at frame %1").arg(timeline()->currentFrame()),
                 timeline()->currentFrame() == frame };
    }

    Station addLayer()
    {
        for (QPushButton *button : Global::layerManager()->findChildren<QPushButton *>())
            if (button->text() == QLatin1String("Sculpt"))
                Driver::click(button);
        return { QStringLiteral("add a layer"),
                 QStringLiteral("%1 layer, selected, with a key at frame %2")
                     .arg(Global::layers().size())
                     .arg(timeline()->currentFrame()),
                 Global::layers().size() == 1 && Global::currentLayer() };
    }

    Station stroke()
    {
        constexpr int kStandard = 2;
        chooseBrush(kStandard);
        const QPoint target = pixelOnMesh();
        const PointArray before = layer().offsetPoints();
        for (const int dy : { -10, 0, 10 })
            Driver::drag(view(), target + QPoint(-30, dy), target + QPoint(30, dy), 12);
        const int moved = farPoints(before, layer().offsetPoints());
        return { QStringLiteral("stroke"),
                 QStringLiteral("%1 strokes of the standard brush moved %2 vertices")
                     .arg(Global::commands()->undoCount())
                     .arg(moved),
                 moved > 0 && Global::commands()->undoCount() == 3 };
    }

    /// At another frame the correction is what it was where it was painted.
    Station ride(int frame)
    {
        const Station scrubbed = scrub(frame);
        const PointArray shown = positions();
        PointArray imported;
        Global::alembic()->readPoints(imported, frame / double(timeline()->framesPerSecond()));
        double error = shown.size() == imported.size() ? 0.0 : 1.0;
        for (size_t i = 0; i < std::min(shown.size(), imported.size()); ++i) {
            const QVector4D offset = layer().offsetPoints()[i] - layer().basePoints()[i];
            error = std::max(error, double((shown[i] - imported[i] - offset).length()));
        }
        return { QStringLiteral("ride"),
                 QStringLiteral("at frame %1 the correction rides on the animation, off by %2")
                     .arg(timeline()->currentFrame())
                     .arg(error),
                 scrubbed.good && error < 1e-4 };
    }

    Station undoAndRedo()
    {
        const PointArray sculpted = layer().offsetPoints();
        view()->setFocus();
        for (int i = 0; i < 3; ++i)
            Driver::key(window(), Qt::Key_Z, Qt::ControlModifier);
        const int left = farPoints(layer().basePoints(), layer().offsetPoints());
        for (int i = 0; i < 3; ++i)
            Driver::key(window(), Qt::Key_Y, Qt::ControlModifier);
        const int lost = farPoints(sculpted, layer().offsetPoints());
        return { QStringLiteral("undo and redo"),
                 QStringLiteral("undo left %1 vertices moved, redo lost %2").arg(left).arg(lost),
                 left == 0 && lost == 0 };
    }

    Station save()
    {
        m_savedPicture = view()->grabFramebuffer();
        m_savedBase = layer().basePoints();
        m_savedOffset = layer().offsetPoints();
        Driver::answerFileDialog(m_scenePath);
        Driver::key(window(), Qt::Key_S, Qt::ControlModifier);
        return { QStringLiteral("save"),
                 QStringLiteral("%1, %2 bytes")
                     .arg(window()->windowTitle())
                     .arg(QFile(m_scenePath).size()),
                 window()->windowTitle() == QStringLiteral("Plexmold 1.0: ") + m_scenePath &&
                     QFile::exists(m_scenePath) };
    }

    Station newScene()
    {
        Driver::answerMessageBox(QMessageBox::Discard);
        Driver::key(window(), Qt::Key_N, Qt::ControlModifier);
        return { QStringLiteral("new scene"),
                 QStringLiteral("%1 layers, %2 vertices, title \"%3\"")
                     .arg(Global::layers().size())
                     .arg(Global::mesh()->vertexCount())
                     .arg(window()->windowTitle()),
                 Global::layers().empty() && Global::mesh()->vertexCount() == 0 &&
                     window()->windowTitle() == QLatin1String("Plexmold 1.0: untitled") };
    }

    Station open(int frame)
    {
        Driver::answerFileDialog(m_scenePath);
        Driver::key(window(), Qt::Key_O, Qt::ControlModifier);
        if (Global::layers().size() != 1)
            return { QStringLiteral("open"), QStringLiteral("no layer came back"), false };
        scrub(frame);
        const LayerData &opened = *Global::layers().front()->data();
        const bool same =
            opened.basePoints() == m_savedBase && opened.offsetPoints() == m_savedOffset;
        const bool samePicture = view()->grabFramebuffer() == m_savedPicture;
        return { QStringLiteral("open"),
                 QStringLiteral("points as saved: %1, picture at frame %2 the same: %3")
                     .arg(yesNo(same))
                     .arg(timeline()->currentFrame())
                     .arg(yesNo(samePicture)),
                 same && samePicture };
    }

    static void chooseBrush(int brush)
    {
        for (const BrushButton *button : Global::mainWindow()->findChildren<BrushButton *>())
            if (button->brush() == brush)
                Driver::click(button->itemAt(0)->widget());
    }

    /// The pixel nearest to the view's middle under which the mesh lies.
    static QPoint pixelOnMesh()
    {
        const MeshScope scope;
        const QPoint middle(view()->width() / 2, view()->height() / 2);
        QPoint best = middle;
        double bestDistance = 1e9;
        for (int y = 60; y < view()->height() - 60; y += 20)
            for (int x = 60; x < view()->width() - 60; x += 20) {
                const double distance = std::hypot(x - middle.x(), y - middle.y());
                if (distance < bestDistance && hitsMesh({ x, y })) {
                    best = { x, y };
                    bestDistance = distance;
                }
            }
        return best;
    }

private:
    static MainWindow *window() { return Global::mainWindow(); }
    static Viewport *view() { return Global::viewport(); }
    static Timeline *timeline() { return Global::timeline(); }
    static LayerData &layer() { return *Global::currentLayer()->data(); }
    static QString yesNo(bool yes) { return yes ? QStringLiteral("yes") : QStringLiteral("no"); }

    static QPoint rulerPixel(int frame)
    {
        const int first = timeline()->rangeStart();
        const int count = timeline()->rangeEnd() - first + 1;
        return { int((frame - first + 0.5) * timeline()->width() / count),
                 timeline()->height() / 2 };
    }

    static PointArray positions()
    {
        const MeshScope scope;
        return Global::mesh()->readBack<QVector4D>(Semantic::kPosition);
    }

    /// Undo subtracts what redo added: what stays is rounding.
    static int farPoints(const PointArray &a, const PointArray &b)
    {
        int far = int(a.size() != b.size());
        for (size_t i = 0; i < std::min(a.size(), b.size()); ++i)
            far += !((a[i] - b[i]).length() < 1e-5f);
        return far;
    }

    /// Pixels that are neither the background nor the grid (grey 0.4 and 0.6, and black).
    static int meshPixels(const QImage &picture)
    {
        int found = 0;
        for (int y = 0; y < picture.height(); ++y)
            for (int x = 0; x < picture.width(); ++x) {
                const int grey = qGray(picture.pixel(x, y));
                found += grey > 20 && grey != 102 && grey != 153;
            }
        return found;
    }

    static bool hitsMesh(const QPoint &at)
    {
        const ScreenRay ray = screenRay({ at.x(), view()->height() - at.y() }, view()->matrices());
        BrushData record;
        Global::mesh()->closestIntersection(ray.nearPoint, ray.farPoint, false, &record);
        return record.hitTriangle >= 0;
    }

    QString m_archivePath;
    QString m_scenePath;
    QImage m_savedPicture;
    PointArray m_savedBase;
    PointArray m_savedOffset;
};
