#pragma once

#include "gpu/GPUMesh.h"
#include "gpu/GpuCounters.h"
#include "layers/CommandStack.h"
#include "layers/Layer.h"
#include "layers/LayerManager.h"
#include "support/Archives.h"
#include "support/Needs.h"
#include "support/TestMeshes.h"
#include "timeline/RulerMath.h"
#include "timeline/TimeControls.h"
#include "timeline/Timeline.h"
#include "tools/Road.h"
#include "tools/RunningProgram.h"
#include "viewport/MeshScope.h"
#include "viewport/PixelLine.h"

#include <QLabel>
#include <QScrollArea>
#include <QTemporaryDir>
#include <QToolButton>

/// The whole program with a small animated mesh, and a person's hands on it.
class Stage : public RunningProgram {
public:
    static constexpr int kFrames = 5;

    /// The mesh at a frame of the archives below: it drifts along x and twists.
    static PointArray posed(const TestMesh &mesh, int frame)
    {
        PointArray points = bent(mesh.points, 0.15f * float(frame));
        for (QVector4D &point : points)
            point.setX(point.x() + 0.02f * float(frame));
        return points;
    }
    /// Writes the mesh as an archive of five frames.
    QString write(const TestMesh &mesh, int firstFrame = 0) const
    {
        std::vector<archives::Points> poses;
        for (int frame = 0; frame < kFrames; ++frame)
            poses.push_back(archives::shapeOf({ {}, posed(mesh, frame), {}, {} }).points);
        const QString path = this->path(QStringLiteral("%1 %2.abc").arg(mesh.name).arg(firstFrame));
        archives::Writer writer(path, firstFrame / 24.0);
        writer.mesh(writer.top(), "mesh", { poses[0], mesh.indices, mesh.counts },
                    { poses.begin() + 1, poses.end() });
        return path;
    }
    void import(const TestMesh &mesh) const { open(write(mesh)); }
    /// Imports an archive into a new scene and frames its mesh.
    static void open(const QString &path)
    {
        Global::clearScene();
        QVERIFY(Global::openArchive(path));
        Global::setAlembicPath(path);
        emit Global::mainWindow()->alembicImported();
        view()->camera().reset();
        key(Qt::Key_F);
    }
    QString path(const QString &name) const { return m_folder.filePath(name); }

    static Viewport *view() { return Global::viewport(); }
    static Timeline &ruler() { return *Global::timeline(); }
    static QPoint middle() { return view()->rect().center(); }
    static bool idle(int brush)
    {
        return Global::currentBrush() == brush && Global::tabletPressure() == 1.0f &&
            Global::compareSplit() <= -999.0f && view()->mode() == InteractionMode::None;
    }

    static void press(const QPoint &at, Qt::KeyboardModifiers modifiers = {},
                      Qt::MouseButton button = Qt::LeftButton, QWidget *on = view())
    {
        Driver::mouse(QTest::MousePress, on, at, button, modifiers);
    }
    static void move(const QPoint &to, Qt::KeyboardModifiers modifiers = {}, QWidget *on = view())
    {
        Driver::mouse(QTest::MouseMove, on, to, Qt::NoButton, modifiers);
    }
    static void release(const QPoint &at, Qt::KeyboardModifiers modifiers = {},
                        Qt::MouseButton button = Qt::LeftButton, QWidget *on = view())
    {
        Driver::mouse(QTest::MouseRelease, on, at, button, modifiers);
    }
    static void stroke(const QPoint &from, const QPoint &to, int events = 6,
                       Qt::KeyboardModifiers modifiers = {})
    {
        Driver::drag(view(), from, to, events, Qt::LeftButton, modifiers);
    }
    static void key(Qt::Key code, Qt::KeyboardModifiers modifiers = {})
    {
        view()->setFocus();
        Driver::key(view(), code, modifiers);
    }
    /// The middle of a frame's column of the ruler, at the height of a key's value.
    static QPoint rulerPixel(int frame, double value = 0.5)
    {
        const int first = ruler().rangeStart(), count = ruler().rangeEnd() - first + 1;
        return { int((frame - first + 0.5) * ruler().width() / count),
                 int(ruler().height() * (1.0 - value)) };
    }

    /// Presses the panel's button for that kind and returns the layer it made.
    static Layer *addLayer(LayerKind kind)
    {
        Driver::click(button(layerKindName(kind), Global::layerManager()));
        return Global::layers().back();
    }
    static QAbstractButton *button(const QString &text, QWidget *panel = Global::mainWindow())
    {
        for (QAbstractButton *candidate : panel->findChildren<QAbstractButton *>())
            if (candidate->text() == text)
                return candidate;
        return nullptr;
    }
    /// Clicks on the check box of that text.
    static void tick(const QString &text) { Driver::drag(button(text), { 8, 8 }, { 8, 8 }, 0); }
    /// The part of that class beside the label of that text; null without one.
    template <class Part> static Part *beside(const QString &label, QWidget *panel)
    {
        QApplication::processEvents(); // a new panel gets its places
        const auto height = [panel](const QWidget *part) {
            return part->mapTo(panel, part->rect().center()).y();
        };
        for (QLabel *text : panel->findChildren<QLabel *>())
            for (Part *part : panel->findChildren<Part *>())
                if (text->text() == label && part->isVisible() &&
                    std::abs(height(part) - height(text)) < 8)
                    return part;
        return nullptr;
    }
    static void bringIntoView(QWidget *widget)
    {
        Global::layerManager()->findChild<QScrollArea *>()->ensureWidgetVisible(widget);
        QApplication::processEvents();
    }
    /// Clicks into the field and types over what stands there.
    static void type(QWidget *field, const QString &text)
    {
        bringIntoView(field);
        Driver::click(field);
        Driver::key(field, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(field, text);
    }
    static QLabel *nameLabel(const Layer *layer) { return layer->findChildren<QLabel *>().at(1); }

    template <class Item> static std::vector<Item> read(const QString &semantic)
    {
        const MeshScope scope;
        return Global::mesh()->readBack<Item>(semantic);
    }
    static PointArray positions() { return read<QVector4D>(Semantic::kPosition); }

    /// Widget pixel, from the top, of a world point in a view.
    static QPointF pixelOf(const QVector3D &point, const Viewport *view = Stage::view())
    {
        const CameraMatrices matrices = view->matrices();
        const QVector3D ndc = (matrices.projection * matrices.view).map(point);
        return { (double(ndc.x()) * 0.5 + 0.5) * matrices.width,
                 (0.5 - double(ndc.y()) * 0.5) * matrices.height };
    }

private:
    QTemporaryDir m_folder;
};

#define PLEXMOLD_TEST_MAIN(TestClass)                                                              \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        Startup::prepare();                                                                        \
        QApplication application(argc, argv);                                                      \
        TestClass test;                                                                            \
        return QTest::qExec(&test, argc, argv);                                                    \
    }
