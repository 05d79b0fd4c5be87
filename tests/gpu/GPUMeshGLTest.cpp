#include "alembic/AlembicFile.h"
#include "gpu/GPUMesh.h"
#include "gpu/GpuCounters.h"
#include "support/Archives.h"
#include "support/Compare.h"
#include "support/GLFixture.h"
#include "support/LogCapture.h"
#include "support/TestMeshes.h"

#include <QTemporaryDir>

Q_DECLARE_METATYPE(TestMesh)

/// The buffers' life, sizes and transfers, and the frames of an archive.
class GPUMeshGLTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void sizesFollowTheTable_data();
    void sizesFollowTheTable();
    void wrongSizesAndNamesChangeNothing();
    void anotherContextWorksOnTheSameBuffers();
    void everyKernelRunsOnAnEmptyMesh();
    void clearEmptiesTheMesh();
    void framesComeFromTheArchive();
    void brokenFrameKeepsTheLastGoodPoints();
    void withoutContextNothingHappens();

private:
    void load(const TestMesh &mesh);
    PointArray positions() { return m_mesh.readBack<QVector4D>(Semantic::kPosition); }

    GLFixture m_gl;
    Topology m_topology;
    GPUMesh m_mesh;
};

void GPUMeshGLTest::initTestCase()
{
    SKIP_WITHOUT_GL(m_gl);
    LogCapture log;
    QVERIFY(m_mesh.initialize());
    // Every program built, both alphas found: nothing to complain about.
    QVERIFY2(log.lines().isEmpty(), qPrintable(log.lines().join(QLatin1Char('\n'))));
}

void GPUMeshGLTest::load(const TestMesh &mesh)
{
    m_topology = mesh.topology();
    m_mesh.setTopology(&m_topology);
    m_mesh.allocateBuffers();
    QVERIFY(m_mesh.upload(Semantic::kPosition, mesh.points));
}

void GPUMeshGLTest::sizesFollowTheTable_data()
{
    QTest::addColumn<TestMesh>("mesh");
    for (const TestMesh &mesh : { testEmpty(), testLoosePoints(1), testGrid(33, 31), testGrid(32),
                                  testGrid(41, 25), testSheetAndLoosePoints() })
        QTest::newRow(qPrintable(mesh.name)) << mesh;
}

void GPUMeshGLTest::sizesFollowTheTable()
{
    QFETCH(TestMesh, mesh);
    load(mesh);
    const int v = mesh.vertexCount(), t = m_topology.triangleCount();
    const std::pair<QLatin1String, GLint64> sizes[] = {
        { Semantic::kPosition, 16 * v },
        { Semantic::kNormal, 16 * v },
        { Semantic::kUv, 8 * v },
        { Semantic::kMask, 4 * v },
        { Semantic::kTriangleVertices, 12 * t },
        { Semantic::kRingVertices, 4 * GLint64(m_topology.rings().size()) },
        { Semantic::kDeltas, 16 * v },
        { Semantic::kFalloff, 4 * v },
        { Semantic::kBackupPoints, 16 * v },
        { Semantic::kBrush, 76 },
        { Semantic::kArea, 32 * (v / 1024 + 1) },
        { Semantic::kBrushMatrix, 64 },
        { Semantic::kTriangleHit, 8 * (t / 1024 + 1) },
        { Semantic::kBasePoints, 16 * v },
        { Semantic::kOffsetPoints, 16 * v },
        { Semantic::kConstraints, 4 * GLint64(m_topology.constraints().size()) },
    };
    for (const auto &[semantic, size] : sizes) {
        GLBuffer *buffer = m_mesh.bufferBySemantic(semantic);
        QVERIFY(buffer);
        buffer->bind();
        GLint64 stored = -1;
        m_gl.gl().glGetBufferParameteri64v(GL_SHADER_STORAGE_BUFFER, GL_BUFFER_SIZE, &stored);
        QVERIFY2(stored == size && buffer->byteSize() == size, semantic.data());
    }
    QCOMPARE(m_mesh.readBack<quint32>(Semantic::kRingVertices), m_topology.rings());
    const std::vector<float> falloff = m_mesh.readBack<float>(Semantic::kFalloff);
    QCOMPARE(falloff, std::vector<float>(size_t(v), 0.0f));
    QCOMPARE(m_mesh.readBack<BrushData>(Semantic::kBrush).at(0).hitTriangle, -1);
}

void GPUMeshGLTest::wrongSizesAndNamesChangeNothing()
{
    load(testGrid(4));
    const PointArray before = positions();
    for (const size_t count : { 0, 15, 17 })
        QVERIFY(!m_mesh.upload(Semantic::kPosition, PointArray(count)));
    QCOMPARE(positions(), before);

    LogCapture log;
    QVERIFY(!m_mesh.bufferBySemantic(QStringLiteral("Normal")));
    QVERIFY(!m_mesh.upload(QStringLiteral("Normal"), before));
    m_mesh.copyBuffer(Semantic::kPosition, QStringLiteral("Normal"));
    QCOMPARE(log.countContaining(
                 QStringLiteral("can't find the buffer, semantic doesn't exist: Normal")),
             3);
    QVERIFY(m_mesh.readBack<float>(QStringLiteral("")).empty());
}

void GPUMeshGLTest::anotherContextWorksOnTheSameBuffers()
{
    load(testGrid(32));
    GLFixture second(&m_gl);
    QVERIFY(second.valid());
    // Nothing is bound in this context yet.
    m_mesh.updateNormals();
    const PointArray here = m_mesh.readBack<QVector4D>(Semantic::kNormal);
    QCOMPARE(second.gl().glGetError(), GLenum(GL_NO_ERROR));
    second.gl().glFinish();
    QVERIFY(m_gl.makeCurrent());
    QCOMPARE(m_mesh.readBack<QVector4D>(Semantic::kNormal), here);
    QVERIFY(here.at(500).z() > 0.5f);
}

void GPUMeshGLTest::everyKernelRunsOnAnEmptyMesh()
{
    load(testEmpty());
    const GpuCounters before = gpuCounters();
    BrushData record;
    m_mesh.closestIntersection({ 0, 0, 1 }, { 0, 0, -1 }, false, &record);
    QCOMPARE(record.hitTriangle, -1);
    m_mesh.pickVertices(1.0f);
    m_mesh.pickVerticesBySurface(1.0f);
    m_mesh.computeArea(1.0f);
    m_mesh.sculpt({ BrushType::Standard, 1.0f }, {});
    m_mesh.updateNormals();
    m_mesh.relax(2, 1.0f, false, false);
    QVERIFY(gpuCounters().dispatches > before.dispatches + 6);
    QVERIFY(positions().empty());
    QCOMPARE(m_gl.gl().glGetError(), GLenum(GL_NO_ERROR));
}

void GPUMeshGLTest::clearEmptiesTheMesh()
{
    load(testGrid(4));
    m_mesh.setRestPoints(positions());
    m_mesh.clear();
    QCOMPARE(m_mesh.vertexCount(), 0);
    QVERIFY(m_mesh.restPoints().empty() && positions().empty());
    m_mesh.allocateBuffers(); // the topology stays known
    QCOMPARE(m_mesh.vertexCount(), 16);
}

void GPUMeshGLTest::framesComeFromTheArchive()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("moving.abc"));
    const archives::Shape grid = archives::grid(5);
    {
        archives::Writer writer(path);
        writer.mesh(writer.top(), "sheet", grid,
                    { archives::moved(grid.points, { 1, 0, 0 }),
                      archives::moved(grid.points, { 2, 0, 0 }) });
    }
    AlembicFile file;
    QVERIFY(file.open(QFile::encodeName(path)));
    QVERIFY(file.fillTopology(m_topology));
    m_mesh.setTopology(&m_topology);
    m_mesh.allocateBuffers();
    for (const int frame : { 0, 2, 1 }) {
        const quint64 bytes = gpuCounters().uploadedBytes;
        m_mesh.loadFrame(frame, 24.0, file);
        QCOMPARE(gpuCounters().uploadedBytes - bytes, quint64(25 * 16));
        QCOMPARE(positions().at(0), QVector4D(float(frame), 0, 0, 1));
    }
    m_mesh.loadFrame(1, 0.0, file); // no rate: the start
    QCOMPARE(positions().at(0).w(), 1.0f);
}

void GPUMeshGLTest::brokenFrameKeepsTheLastGoodPoints()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("changing.abc"));
    const archives::Shape grid = archives::grid(5);
    archives::Points fewer = grid.points;
    fewer.pop_back();
    {
        archives::Writer writer(path);
        writer.mesh(writer.top(), "sheet", grid,
                    { archives::moved(grid.points, { 1, 0, 0 }), fewer });
    }
    AlembicFile file;
    QVERIFY(file.open(QFile::encodeName(path)));
    QVERIFY(file.fillTopology(m_topology));
    m_mesh.setTopology(&m_topology);
    m_mesh.allocateBuffers();
    m_mesh.loadFrame(1, 24.0, file);
    const PointArray good = positions();
    QCOMPARE(good.at(0), QVector4D(1, 0, 0, 1));
    // What layers made of the last frame must not be the next one's start.
    m_mesh.fillZero(Semantic::kPosition);
    LogCapture log;
    for (int evaluation = 0; evaluation < 3; ++evaluation) {
        m_mesh.loadFrame(2, 24.0, file);
        QCOMPARE(log.lines().size(), 1);
        QCOMPARE(positions(), good);
    }
    m_mesh.loadFrame(0, 24.0, file);
    QCOMPARE(positions().at(0), QVector4D(0, 0, 0, 1));
    file.close();
    m_mesh.fillZero(Semantic::kPosition);
    for (const int frame : { 2, 2, 1, 1 })
        m_mesh.loadFrame(frame, 24.0, file);
    QCOMPARE(log.lines().size(), 1 + 2); // a line for each visit of a frame, the reader's included
    QCOMPARE(positions().at(0), QVector4D(0, 0, 0, 1));
}

void GPUMeshGLTest::withoutContextNothingHappens()
{
    load(testGrid(4));
    {
        GPUMesh late;
        m_gl.doneCurrent();
        LogCapture log;
        QVERIFY(!late.initialize());
        QVERIFY(!late.upload(Semantic::kPosition, PointArray()));
        QVERIFY(log.countContaining(
                    QStringLiteral("failed to initialize OpenGL functions for GPUMesh")) >= 1);
        QVERIFY(m_gl.makeCurrent());
        QVERIFY(late.initialize()); // the first view may come later
        m_gl.doneCurrent();
    } // and may have gone before the mesh
    QVERIFY(m_gl.makeCurrent());
    QCOMPARE(positions().size(), size_t(16));
}

QTEST_MAIN(GPUMeshGLTest)
#include "GPUMeshGLTest.moc"
