#pragma once

#include "app/Global.h"
#include "app/MainWindow.h"
#include "gpu/GPUMesh.h"
#include "gpu/GpuCounters.h"
#include "layers/CommandStack.h"
#include "layers/Layer.h"
#include "layers/LayerManager.h"
#include "support/AppFixture.h"
#include "support/Archives.h"
#include "support/Driver.h"
#include "support/TestMeshes.h"
#include "timeline/Timeline.h"
#include "viewport/MeshScope.h"
#include "viewport/PixelLine.h"
#include "viewport/ScreenRay.h"
#include "viewport/Viewport.h"

#include <QSignalMapper>
#include <QTemporaryDir>

#include <map>

/// The whole program with a small animated mesh under the artist's hand.
class Stage : public AppFixture {
public:
    static constexpr int kFrames = 5;

    /// Imports the mesh as an archive of five frames, each moved a little along x, and frames it.
    void import(const TestMesh &mesh)
    {
        archives::Shape shape;
        for (const QVector4D &p : mesh.points)
            shape.points.emplace_back(p.x(), p.y(), p.z());
        shape.faceIndices = mesh.indices;
        shape.faceCounts = mesh.counts;
        std::vector<archives::Points> later;
        for (int frame = 1; frame < kFrames; ++frame)
            later.push_back(archives::moved(shape.points, { 0.02f * float(frame), 0, 0 }));
        const QString path = m_folder.filePath(mesh.name + QStringLiteral(".abc"));
        {
            archives::Writer writer(path);
            writer.mesh(writer.top(), "mesh", shape, later);
        }
        open(path);
    }
    /// Imports an archive into a new scene and frames its mesh.
    static void open(const QString &path)
    {
        Global::clearScene();
        QVERIFY(Global::openArchive(path));
        emit Global::mainWindow()->alembicImported();
        Global::setAlembicPath(path);
        view()->camera().reset();
        view()->setFocus();
        Driver::key(view(), Qt::Key_F);
    }

    Layer *addLayer(LayerKind kind)
    {
        emit Global::layerManager()->mapper()->mappedInt(int(kind));
        return Global::layers().back();
    }

    QString path(const QString &name) const { return m_folder.filePath(name); }

    static Viewport *view() { return Global::viewport(); }
    static QPoint middle() { return view()->rect().center(); }

    static void press(const QPoint &at, Qt::KeyboardModifiers modifiers = Qt::NoModifier,
                      Qt::MouseButton button = Qt::LeftButton)
    {
        Driver::mouse(QTest::MousePress, view(), at, button, modifiers);
    }
    static void move(const QPoint &to, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        Driver::mouse(QTest::MouseMove, view(), to, Qt::NoButton, modifiers);
    }
    static void release(const QPoint &at, Qt::KeyboardModifiers modifiers = Qt::NoModifier,
                        Qt::MouseButton button = Qt::LeftButton)
    {
        Driver::mouse(QTest::MouseRelease, view(), at, button, modifiers);
    }
    static void stroke(const QPoint &from, const QPoint &to, int events = 6,
                       Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        Driver::drag(view(), from, to, events, Qt::LeftButton, modifiers);
    }

    template <class Item> static std::vector<Item> read(const QString &semantic)
    {
        const MeshScope scope;
        return Global::mesh()->readBack<Item>(semantic);
    }
    static PointArray positions() { return read<QVector4D>(Semantic::kPosition); }

    /// Every buffer that a stroke or a wipe may write, as bytes that compare.
    static std::map<QString, PointArray> pointBuffers()
    {
        std::map<QString, PointArray> buffers;
        for (const QLatin1String &name :
             { Semantic::kPosition, Semantic::kNormal, Semantic::kDeltas, Semantic::kBackupPoints,
               Semantic::kBasePoints, Semantic::kOffsetPoints })
            buffers[name] = read<QVector4D>(name);
        return buffers;
    }

    /// Widget pixel, from the top, of a world point in a view.
    static QPointF pixelOf(const QVector3D &point, const Viewport *view = Stage::view())
    {
        const CameraMatrices matrices = view->matrices();
        const QVector3D ndc = (matrices.projection * matrices.view).map(point);
        return { (double(ndc.x()) * 0.5 + 0.5) * matrices.width,
                 (0.5 - double(ndc.y()) * 0.5) * matrices.height };
    }

    static PointArray difference(const PointArray &a, const PointArray &b)
    {
        PointArray way;
        for (size_t i = 0; i < std::min(a.size(), b.size()); ++i)
            way.push_back(a[i] - b[i]);
        return way;
    }
    /// The longest way between the points of one and of the other.
    static float farthest(const PointArray &a, const PointArray &b)
    {
        float most = 0;
        for (const QVector4D &way : difference(a, b))
            most = std::max(most, way.length());
        return most;
    }
    static int movedCount(const PointArray &deltas)
    {
        return int(std::count_if(deltas.begin(), deltas.end(),
                                 [](const QVector4D &d) { return !(d.length() == 0.0f); }));
    }

private:
    QTemporaryDir m_folder;
};
