#include "alembic/AlembicFile.h"
#include "layers/Topology.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <cmath>

namespace {

constexpr int kFrames = 48;

double frameTime(int frame) { return frame / 24.0; }

/// Signed volume inside the triangles whose corners all lie in [from, to).
double volume(const Topology &topology, const PointArray &points, int from, int to)
{
    double sum = 0.0;
    const std::vector<quint32> &corners = topology.triangles();
    for (std::size_t i = 0; i < corners.size(); i += 3) {
        if (int(corners[i]) < from || int(corners[i]) >= to)
            continue;
        const QVector3D a = points[corners[i]].toVector3D();
        const QVector3D b = points[corners[i + 1]].toVector3D();
        const QVector3D c = points[corners[i + 2]].toVector3D();
        sum += double(QVector3D::dotProduct(a, QVector3D::crossProduct(b, c))) / 6.0;
    }
    return sum;
}

/// Whether the camera's film gate holds the point; worked out from angles, not from a projection.
bool seen(const CameraRecord &camera, const QVector4D &point)
{
    const QVector4D local = camera.matrix.inverted() * point;
    const float focalLength = camera.focalLength / 10.0f; // centimetres, as the apertures are
    const float depth = -local.z();
    return depth > 0.0f &&
        std::abs(local.x()) / depth < camera.horizontalAperture / 2 / focalLength &&
        std::abs(local.y()) / depth < camera.verticalAperture / 2 / focalLength;
}

} // namespace

/// The archive that tools/make_sample writes.
class SampleArchiveTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void content();
    void outsideFacesOut();
    void elbowCollapses();
    void camerasSeeTheArm();

private:
    QString write(const QString &name) const;

    QTemporaryDir m_folder;
    AlembicFile m_file;
    Topology m_topology;
    int m_armCount = 0;
};

QString SampleArchiveTest::write(const QString &name) const
{
    const QString path = m_folder.filePath(name);
    return QProcess::execute(QStringLiteral(MAKE_SAMPLE), { path }) == 0 ? path : QString();
}

void SampleArchiveTest::initTestCase()
{
    const QString path = write(QStringLiteral("sample.abc"));
    QVERIFY(!path.isEmpty());
    QVERIFY(m_file.open(QFile::encodeName(path)));
    QVERIFY(m_file.fillTopology(m_topology));
    QCOMPARE(int(m_topology.meshes().size()), 3);
    m_armCount = m_topology.meshes().front().vertexCount;
}

void SampleArchiveTest::content()
{
    QCOMPARE(m_topology.meshes()[0].name, QStringLiteral("/body/shoulder/arm"));
    QCOMPARE(m_topology.meshes()[1].name, QStringLiteral("/rail/hanger/sheet"));
    QCOMPARE(m_topology.meshes()[2].name, QStringLiteral("/floor/ball")); // the cage
    QVERIFY(m_armCount > 9500 && m_armCount < 10500);
    QString fault;
    QVERIFY2(m_topology.validate(&fault), qPrintable(fault));
    double start = -1.0, end = -1.0;
    QVERIFY(m_file.timeRange(start, end));
    QCOMPARE(start, 0.0);
    QCOMPARE(end, frameTime(kFrames - 1));
    QCOMPARE(m_file.cameraCount(), 2);
}

void SampleArchiveTest::outsideFacesOut()
{
    PointArray points;
    QVERIFY(m_file.readPoints(points, 0.0));
    QVERIFY(volume(m_topology, points, 0, m_armCount) > 1.0);
    const double ball =
        volume(m_topology, points, m_topology.vertexCount() - 386, m_topology.vertexCount());
    QVERIFY(std::abs(ball - 4.0 / 3.0 * M_PI * 1.2 * 1.2 * 1.2) < 0.15); // a cage is a bit smaller
}

void SampleArchiveTest::elbowCollapses()
{
    PointArray rest, bent;
    QVERIFY(m_file.readPoints(rest, 0.0));
    QVERIFY(m_file.readPoints(bent, frameTime(30)));
    // The elbow bends about the origin: its front and its back are the highest and lowest there.
    int front = -1, back = -1;
    for (int i = 0; i < m_armCount; ++i) {
        if (std::abs(rest[i].x()) > 0.05f)
            continue;
        front = front < 0 || rest[i].y() > rest[front].y() ? i : front;
        back = back < 0 || rest[i].y() < rest[back].y() ? i : back;
    }
    QVERIFY(front >= 0);
    const float before = (rest[front] - rest[back]).length();
    const float after = (bent[front] - bent[back]).length();
    QVERIFY2(after < 0.65f * before, qPrintable(QString::number(double(after / before))));
}

void SampleArchiveTest::camerasSeeTheArm()
{
    PointArray points;
    CameraRecord first, last;
    for (const char *name : { "shotCamera", "witnessCamera" }) {
        for (int frame = 0; frame < kFrames; ++frame) {
            QVERIFY(m_file.readPoints(points, frameTime(frame)));
            QVERIFY(m_file.readCamera(last, frameTime(frame), QLatin1String(name)));
            if (frame == 0)
                first = last;
            const auto hidden =
                std::find_if(points.begin(), points.begin() + m_armCount,
                             [&](const QVector4D &point) { return !seen(last, point); });
            QVERIFY2(hidden == points.begin() + m_armCount, name);
        }
        QCOMPARE(first.matrix != last.matrix, qstrcmp(name, "shotCamera") == 0);
    }
}

QTEST_GUILESS_MAIN(SampleArchiveTest)
#include "SampleArchiveTest.moc"
