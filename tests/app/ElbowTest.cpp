#include "alembic/AlembicFile.h"
#include "gpu/GPUMesh.h"
#include "gpu/LayerPasses.h"
#include "layers/Layer.h"
#include "layers/Topology.h"
#include "support/AppFixture.h"
#include "timeline/Timeline.h"
#include "viewport/MeshScope.h"

#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>

/// The reason for the program: linear blend skinning collapses the sample's elbow, a masked Mush
/// layer gives the bent arm its volume back.
class ElbowTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void mushRegainsTheElbowsVolume();

private:
    double armVolume() const;
    std::vector<double> ringAreas() const;
    static double worstRatio(const std::vector<double> &areas, const std::vector<double> &rest);
    void takePicture(const char *name) const;

    AppFixture m_app;
    QTemporaryDir m_folder;
};

void ElbowTest::initTestCase()
{
    SKIP_WITHOUT_GL(m_app);
    const QString archive = m_folder.filePath(QStringLiteral("sample.abc"));
    const QString tool = QCoreApplication::applicationDirPath() + QStringLiteral("/make_sample");
    QCOMPARE(QProcess::execute(tool, { archive }), 0);
    QVERIFY(Global::openArchive(archive));
    emit Global::mainWindow()->alembicImported();
    QVERIFY(Global::topology()->meshes().front().name.contains(QLatin1String("arm"),
                                                               Qt::CaseInsensitive));
}

namespace {

/// The crossings of a closed mesh with lines along z, on a grid over x and y.
class LineGrid {
public:
    LineGrid(float low, float high)
        : m_low(low)
        , m_step((high - low) / kSide)
        , m_crossings(size_t(kSide) * kSide)
    {
    }

    void add(const QVector3D &a, const QVector3D &b, const QVector3D &c)
    {
        const float area = cross(b - a, c - a);
        if (area == 0.0f)
            return;
        for (int row = line(std::min({ a.y(), b.y(), c.y() })) + 1;
             row <= line(std::max({ a.y(), b.y(), c.y() })); ++row)
            for (int column = line(std::min({ a.x(), b.x(), c.x() })) + 1;
                 column <= line(std::max({ a.x(), b.x(), c.x() })); ++column) {
                const QVector3D at(place(column), place(row), 0.0f);
                const float u = cross(b - at, c - at) / area;
                const float v = cross(c - at, a - at) / area;
                if (u >= 0.0f && v >= 0.0f && u + v <= 1.0f)
                    m_crossings[size_t(row) * kSide + size_t(column)].push_back(
                        { u * a.z() + v * b.z() + (1.0f - u - v) * c.z(), area > 0.0f ? -1 : 1 });
            }
    }

    /// Where the winding number is above zero, so that skin folded into the arm does not count
    /// twice.
    double volume()
    {
        double length = 0.0;
        for (auto &line : m_crossings) {
            std::sort(line.begin(), line.end());
            int winding = 0;
            for (size_t i = 0; i + 1 < line.size(); ++i) {
                winding += line[i].second;
                if (winding > 0)
                    length += double(line[i + 1].first - line[i].first);
            }
        }
        return length * double(m_step) * double(m_step);
    }

private:
    static constexpr int kSide = 400;
    static float cross(const QVector3D &a, const QVector3D &b)
    {
        return a.x() * b.y() - a.y() * b.x();
    }
    int line(float value) const
    {
        return std::clamp(int(std::floor((value - m_low) / m_step)), 0, kSide - 1);
    }
    float place(int index) const { return m_low + float(index) * m_step; }

    float m_low;
    float m_step;
    std::vector<std::vector<std::pair<float, int>>> m_crossings;
};

} // namespace

/// Of the closed arm, the first mesh of the archive.
double ElbowTest::armVolume() const
{
    const MeshScope scope;
    const PointArray points = Global::mesh()->readBack<QVector4D>(Semantic::kPosition);
    const auto &triangles = Global::topology()->triangles();
    const auto armVertices = quint32(Global::topology()->meshes().front().vertexCount);
    LineGrid grid(-8.0f, 8.0f);
    for (size_t t = 0; t + 2 < triangles.size(); t += 3)
        if (triangles[t] < armVertices)
            grid.add(points[triangles[t]].toVector3D(), points[triangles[t + 1]].toVector3D(),
                     points[triangles[t + 2]].toVector3D());
    return grid.volume();
}

/// Cross-sections of the arm's tube, which the sample lays down in rings of 64 vertices before its
/// caps: half the length of each ring's vector area (Newell's method).
std::vector<double> ElbowTest::ringAreas() const
{
    constexpr int kAround = 64, kRings = 149;
    const MeshScope scope;
    const PointArray points = Global::mesh()->readBack<QVector4D>(Semantic::kPosition);
    std::vector<double> areas;
    for (int ring = 0; ring < kRings; ++ring) {
        const auto at = [&](int i) {
            return points[size_t(ring * kAround + i % kAround)].toVector3D();
        };
        QVector3D area;
        for (int i = 0; i < kAround; ++i)
            area += QVector3D::crossProduct(at(i) - at(0), at(i + 1) - at(0));
        areas.push_back(double(area.length()) / 2.0);
    }
    return areas;
}

double ElbowTest::worstRatio(const std::vector<double> &areas, const std::vector<double> &rest)
{
    double worst = 1.0;
    for (size_t i = 0; i < areas.size(); ++i)
        worst = std::min(worst, areas[i] / rest[i]);
    return worst;
}

void ElbowTest::mushRegainsTheElbowsVolume()
{
    constexpr int kBentFrame = 30;
    const double restVolume = armVolume();
    const std::vector<double> restAreas = ringAreas();
    Global::timeline()->setCurrentFrame(kBentFrame);
    const double bentVolume = armVolume();
    const double bentSection = worstRatio(ringAreas(), restAreas);
    QVERIFY(bentVolume < 0.92 * restVolume);
    QVERIFY(bentSection < 0.65);
    takePicture("elbow-collapsed");

    m_app.global().addLayer(int(LayerKind::Mush));
    Layer &layer = *Global::currentLayer();
    std::vector<float> mask(size_t(Global::mesh()->vertexCount()), 0.0f);
    std::fill_n(mask.begin(), Global::topology()->meshes().front().vertexCount, 1.0f);
    layer.data()->setMask(std::move(mask));
    layer.setIterations(400);
    const double mushVolume = armVolume();
    const double mushSection = worstRatio(ringAreas(), restAreas);
    qInfo("the arm's volume: rest %.3f, bent %.3f, with Mush %.3f; its elbow's cross-section falls "
          "to %.0f %%, with Mush to %.0f %%",
          restVolume, bentVolume, mushVolume, 100.0 * bentSection, 100.0 * mushSection);
    QVERIFY(mushVolume > bentVolume + 0.1 * (restVolume - bentVolume));
    QVERIFY(mushSection > bentSection + 0.4 * (1.0 - bentSection));
    QVERIFY(mushVolume < restVolume);
    takePicture("elbow-with-mush");

    Global::timeline()->setCurrentFrame(0);
    QCOMPARE(float(armVolume()), float(restVolume)); // without a bend there is nothing to correct

    const QString scene = m_folder.filePath(QStringLiteral("elbow.pxm"));
    const QString baked = m_folder.filePath(QStringLiteral("baked.abc"));
    QVERIFY(Global::saveScene(scene));
    const QString tool = QCoreApplication::applicationDirPath() + QStringLiteral("/plexmold-bake");
    QCOMPARE(QProcess::execute(tool,
                               { QStringLiteral("--cache"),
                                 m_folder.filePath(QStringLiteral("sample.abc")), scene, baked }),
             0);
    Global::clearScene();
    QVERIFY(Global::openArchive(baked));
    emit Global::mainWindow()->alembicImported();
    Global::timeline()->setCurrentFrame(kBentFrame);
    QVERIFY(std::abs(armVolume() - mushVolume) < 1e-5 * mushVolume); // points agree to 1e-7
}

/// Into the folder that the documentation's pictures are made in, where one is named.
void ElbowTest::takePicture(const char *name) const
{
    const QString folder = qEnvironmentVariable("PLEXMOLD_PICTURES");
    if (folder.isEmpty())
        return;
    Global::mainWindow()->resize(1400, 900);
    Global::viewport()->camera().frameBox(QVector3D(-3.5f, 2.5f, -1.5f),
                                          QVector3D(1.5f, 6.5f, 1.5f));
    QApplication::processEvents();
    Global::viewport()->grabFramebuffer().save(folder + QLatin1Char('/') + QLatin1String(name) +
                                               QStringLiteral(".png"));
}

PLEXMOLD_TEST_MAIN(ElbowTest)
#include "ElbowTest.moc"
