#include "alembic/AlembicFile.h"
#include "gpu/DriverNeeds.h"
#include "gpu/GpuCounters.h"
#include "gpu/MeshStage.h"
#include "support/Archives.h"
#include "support/LogCapture.h"

#include <QDirIterator>
#include <QImage>
#include <QOpenGLFramebufferObject>
#include <QTemporaryDir>

using reference::Vec;

namespace {

constexpr int kSize = 128; // pixels a side

/// The lighting formula for a surface at `eye`, as a grey level.
double lit(Vec eye, Vec normal)
{
    const Vec light { 0.3, 0.2, 0.7 };
    const Vec reflected = normal * (2 * dot(light, normal)) - light;
    const double highlight = std::max(dot(reflected, normalized(eye * -1.0)), 0.0);
    const double grey =
        0.1 + 0.66 * std::max(dot(light, normal), 0.0) + 0.2 * std::pow(highlight, 33.0);
    return std::min(grey, 1.0) * 255;
}

/// Of the pixel whose middle is nearest to a point of the view, which shows -2 to 2.
Vec colourAt(const QImage &image, double x, double y)
{
    const QRgb pixel = image.pixel(int(std::floor((x / 2 + 1) * kSize / 2)),
                                   kSize - 1 - int(std::floor((y / 2 + 1) * kSize / 2)));
    return { double(qRed(pixel)), double(qGreen(pixel)), double(qBlue(pixel)) };
}

/// Within half a step of rounding in each channel, and as much for the interpolated normal.
bool isNear(Vec colour, Vec wanted) { return length(colour - wanted) < 1.8; }

const Vec kBackground { 0, 51, 102 };

} // namespace

/// The buffers' life, sizes and transfers, the frames of an archive, and what is drawn.
class GPUMeshGLTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        const LogCapture log;
        NEEDS_GL(m_stage.valid());
        // Every program built, both alphas found: nothing to complain about.
        QCOMPARE(log.lines(), QStringList());
        m_options.modelView.translate(0, 0, -5);
        m_options.projection.ortho(-2.0f, 2.0f, -2.0f, 2.0f, 1.0f, 10.0f);
        m_options.normalMatrix = m_options.modelView.normalMatrix();
        m_options.lightDirection = { 0.3f, 0.2f, 0.7f }; // not of unit length
    }

    void driversThatLackSomething()
    {
        QVERIFY(unmetNeed({ 3, 3 }).endsWith(QStringLiteral("this driver offers OpenGL 3.3.")));
        QVERIFY(unmetNeed({ 4, 5, 8, 16, 16 }).endsWith(QStringLiteral("this driver offers 8.")));
    }

    void sizesFollowTheTable()
    {
        for (const TestMesh &on : testMeshes()) {
            m_stage.load(on);
            const Topology &topology = m_stage.topology();
            const GLint64 v = on.vertexCount(), t = topology.triangleCount();
            // In the order of the table.
            const std::array<GLint64, 4> sizes[] = {
                { 16 * v, 16 * v, 8 * v, 4 * v },
                { 12 * t, 4 * GLint64(topology.rings().size()), 16 * v, 4 * v },
                { 16 * v, 76, 32 * (v / 1024 + 1), 64 },
                { 8 * (t / 1024 + 1), 16 * v, 16 * v, 4 * GLint64(topology.constraints().size()) }
            };
            for (size_t i = 0; i < kBufferTable.size(); ++i) {
                mesh().bufferBySemantic(kBufferTable[i].semantic)->bind();
                GLint64 stored = -1;
                gl().glGetBufferParameteri64v(GL_SHADER_STORAGE_BUFFER, GL_BUFFER_SIZE, &stored);
                QCOMPARE(stored, sizes[i / 4].at(i % 4));
            }
            QCOMPARE(mesh().readBack<quint32>(Semantic::kRingVertices), topology.markedRings());
            QCOMPARE(mesh().readBack<float>(Semantic::kMask), std::vector<float>(size_t(v)));
            QCOMPARE(mesh().readBack<BrushData>(Semantic::kBrush).at(0).hitTriangle, -1);
        }
    }

    void wrongSizesAndNamesChangeNothing()
    {
        const TestMesh sheet = testGrid(4);
        m_stage.load(sheet);
        for (const size_t count : { 0, 15, 17 })
            QVERIFY(!mesh().upload(Semantic::kPosition, PointArray(count)));
        QCOMPARE(m_stage.points(), sheet.points);

        const LogCapture log;
        const QString unknown = QStringLiteral("Normal");
        QVERIFY(!mesh().upload(unknown, sheet.points) && m_stage.points(unknown).empty());
        QCOMPARE(log.lines().value(0),
                 QStringLiteral("can't find the buffer, semantic doesn't exist: Normal"));
    }

    /// An archive in which one of two meshes breaks off at its last frame.
    void brokenFrameKeepsTheLastGoodPoints()
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("changing.abc"));
        const archives::Shape grid = archives::grid(5);
        std::vector<archives::Points> moving;
        for (int frame = 1; frame < 4; ++frame)
            moving.push_back(archives::moved(grid.points, { float(frame), 0, 0 }));
        {
            archives::Writer writer(path);
            writer.mesh(writer.top(), "other", grid, moving);
            moving.back().pop_back();
            writer.mesh(writer.top(), "sheet", grid, moving);
        }
        AlembicFile file;
        Topology topology;
        PointArray first;
        QVERIFY(file.open(QFile::encodeName(path)) && file.fillTopology(topology) &&
                file.readPoints(first, 0.0, topology));
        m_stage.load(topology, first);
        mesh().startFrom(first);
        struct Row {
            int frame;
            float other, sheet; ///< where their points lie then
        };
        for (const Row &row : { Row { 2, 2, 2 }, { 1, 1, 1 }, { 3, 3, 1 }, { 0, 3, 1 } }) {
            const bool good = row.sheet == float(row.frame);
            if (row.frame == 0)
                file.close();
            // What layers made of the last frame must not be the next one's start.
            mesh().fillZero(Semantic::kPosition);
            const LogCapture log;
            for (int evaluation = 0; evaluation < 3; ++evaluation) {
                const quint64 bytes = gpuCounters().uploadedBytes;
                mesh().loadFrame(row.frame, 24.0, file);
                QVERIFY(!good || gpuCounters().uploadedBytes - bytes == quint64(50 * 16));
                QCOMPARE(log.lines().size(), int(!good)); // once a visit, the reader's included
                QCOMPARE(m_stage.points().at(0), QVector4D(row.other - 1, -1, 0, 1)); // it goes on
                QCOMPARE(m_stage.points().at(25), QVector4D(row.sheet - 1, -1, 0, 1));
            }
        }
    }

    /// A kernel that does not compile, in a copy of all shaders.
    void brokenKernelTakesItsOwnFeature()
    {
        const QTemporaryDir folder;
        for (QDirIterator files(QStringLiteral(":/"), { QStringLiteral("*.glsl") }, QDir::Files,
                                QDirIterator::Subdirectories);
             files.hasNext();) {
            const QString copy = folder.path() + files.next().mid(1);
            QVERIFY(QDir().mkpath(QFileInfo(copy).path()) && QFile::copy(files.filePath(), copy));
        }
        QFile kernel(folder.filePath(QStringLiteral("computeShaders/ComputeShaders/relax.glsl")));
        QVERIFY(kernel.setPermissions(QFile::ReadOwner | QFile::WriteOwner));
        QVERIFY(kernel.open(QIODevice::Append) && kernel.write("broken\n") && kernel.flush());
        const LogCapture log;
        GPUMesh broken(folder.path());
        QVERIFY(broken.initialize());
        const QStringList told = log.lines().filter(QStringLiteral("relax.glsl"));
        QVERIFY(told.size() == 1 && !told.front().contains(QLatin1Char('\n')));
        const TestMesh sheet = testGrid(4);
        const Topology topology = sheet.topology();
        broken.setTopology(&topology);
        broken.allocateBuffers();
        broken.upload(Semantic::kPosition, sheet.points);
        broken.relax(2, 1.0f, false, false);
        broken.mush(2, 0, 1.0f, sheet.points, sheet.points);
        QCOMPARE(broken.readBack<QVector4D>(Semantic::kPosition), sheet.points);
        broken.updateNormals();
        QVERIFY(broken.readBack<QVector4D>(Semantic::kNormal).at(5).z() > 0.5f);
    }

    void shadesByTheFormula()
    {
        loadSheet();
        for (const float mask : { 0.0f, 1.0f, 0.4f, -1.0f }) {
            mesh().upload(Semantic::kMask, std::vector<float>(25, mask));
            const QImage image = renderMesh(m_options);
            const double untinted = 1.0 - 0.5 * std::max(double(mask), 0.0); // a mask shows blue
            for (const auto &[x, y] : { std::pair(0.0, 0.0), { 0.6, -0.7 }, { -0.9, 0.4 } }) {
                const double grey = lit({ x, y, -5 }, { 0, 0, 1 });
                QVERIFY(isNear(colourAt(image, x, y), { grey * untinted, grey * untinted, grey }));
            }
            QVERIFY(isNear(colourAt(image, 1.5, 0), kBackground));
        }
    }

    void wireframeShowsPolygonEdges()
    {
        loadSheet();
        MeshDrawOptions options = m_options;
        options.wireframe = true;
        const auto blackNear = [](const QImage &image, double x, double y) {
            double darkest = 255; // of the pixels around
            for (int i = 0; i < 9; ++i)
                darkest = std::min(darkest,
                                   length(colourAt(image, x + (i % 3 - 1) * 4.0 / kSize,
                                                   y + (i / 3 - 1) * 4.0 / kSize)));
            return darkest == 0;
        };
        const QImage image = renderMesh(options);
        QVERIFY(blackNear(image, 0.0, 0.2) && blackNear(image, 0.3, -0.5));
        QVERIFY2(!blackNear(image, 0.25, 0.25), "the diagonal of a quad is no edge");
        QVERIFY(!blackNear(renderMesh(m_options), 0.0, 0.2));
    }

private:
    GPUMesh &mesh() { return m_stage.mesh(); }
    QOpenGLFunctions_4_3_Core &gl() { return m_stage.fixture().gl(); }
    /// A flat sheet of 4 x 4 quads from -1 to 1 in the plane z = 0, seen from +z.
    void loadSheet()
    {
        m_stage.load(testGrid(5, 5, 0.0));
        mesh().upload(Semantic::kNormal, PointArray(25, { 0, 0, 1, 0 }));
    }

    QImage renderMesh(const MeshDrawOptions &options)
    {
        QOpenGLFramebufferObject target(kSize, kSize, QOpenGLFramebufferObject::Depth);
        target.bind();
        gl().glViewport(0, 0, kSize, kSize);
        gl().glEnable(GL_DEPTH_TEST);
        gl().glClearColor(0.0f, 0.2f, 0.4f, 1.0f);
        gl().glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        mesh().draw(options);
        return target.toImage();
    }

    MeshStage m_stage;
    MeshDrawOptions m_options;
};

QTEST_MAIN(GPUMeshGLTest)
#include "GPUMeshGLTest.moc"
