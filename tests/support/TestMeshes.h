#pragma once

#include "layers/PointMath.h"
#include "layers/Topology.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

inline const double kPi = std::acos(-1.0);

/// One small mesh as an archive would hand it over: faces wind clockwise seen from outside (for
/// open sheets: from +z).
struct TestMesh {
    QString name;
    PointArray points;
    std::vector<qint32> indices, counts;

    int vertexCount() const { return int(points.size()); }
    Topology topology() const
    {
        Topology topology;
        topology.build(vertexCount(), indices, counts);
        return topology;
    }
    /// The largest absolute coordinate, at least 1: what rounding errors grow with.
    double extent() const
    {
        double extent = 1.0;
        for (const QVector4D &p : points)
            for (int i = 0; i < 3 && isFinitePoint(p); ++i)
                extent = std::max(extent, std::abs(double(p[i])));
        return extent;
    }
    void addPoint(double x, double y, double z)
    {
        points.emplace_back(float(x), float(y), float(z), 1.0f);
    }
    void addCircle(int count, double radius, double z)
    {
        for (int i = 0; i < count; ++i)
            addPoint(radius * std::cos(2 * kPi * i / count), radius * std::sin(2 * kPi * i / count),
                     z);
    }
    void addFace(std::initializer_list<qint32> corners)
    {
        indices.insert(indices.end(), corners);
        counts.push_back(qint32(corners.size()));
    }
};

/// Twists about the x axis, further the further out.
inline PointArray bent(PointArray points, float angle)
{
    for (QVector4D &p : points) {
        const float turn = angle * p.x(), c = std::cos(turn), s = std::sin(turn);
        p = QVector4D(p.x(), c * p.y() - s * p.z(), s * p.y() + c * p.z(), p.w());
    }
    return points;
}

/// Vertices that no face uses.
inline TestMesh testLoosePoints(int count)
{
    TestMesh mesh { QStringLiteral("%1 loose points").arg(count), {}, {}, {} };
    for (int i = 0; i < count; ++i)
        mesh.addPoint(i * 0.5, 0.25, -0.125);
    return mesh;
}

/// A sheet of width × height vertices in x and y from -1 to 1, as quads or split into triangles;
/// `wave` is the amplitude of its z.
inline TestMesh testGrid(int width, int height, double wave = 0.0, bool triangles = false)
{
    TestMesh mesh { QStringLiteral("%1 x %2 grid").arg(width).arg(height), {}, {}, {} };
    const double step = 2.0 / std::max({ width - 1, height - 1, 1 });
    for (int i = 0; i < width * height; ++i) {
        const int x = i % width, y = i / width;
        mesh.addPoint(x * step - 1, y * step - 1,
                      wave * std::sin(5 * x * step) * std::cos(3 * y * step));
        if (x + 1 == width || y + 1 == height)
            continue;
        if (triangles) {
            mesh.addFace({ i, i + width, i + width + 1 });
            mesh.addFace({ i, i + width + 1, i + 1 });
        } else {
            mesh.addFace({ i, i + width, i + width + 1, i + 1 });
        }
    }
    return mesh;
}

/// A square sheet that curves, so that smoothing and normals have something to do.
inline TestMesh testGrid(int side) { return testGrid(side, side, 0.1); }

inline TestMesh testCube()
{
    TestMesh mesh { QStringLiteral("cube"), {}, {}, {} };
    for (int i = 0; i < 8; ++i)
        mesh.addPoint(i & 1 ? 1 : -1, i & 2 ? 1 : -1, i & 4 ? 1 : -1);
    mesh.indices = { 0, 1, 3, 2, 4, 6, 7, 5, 0, 4, 5, 1, 2, 3, 7, 6, 0, 2, 6, 4, 1, 5, 7, 3 };
    mesh.counts.assign(6, 4);
    return mesh;
}

/// Closed: quads, and triangles around two poles with `segments` neighbours each.
inline TestMesh testSphere(int segments = 16, int bands = 10)
{
    TestMesh mesh { QStringLiteral("sphere"), {}, {}, {} };
    mesh.addPoint(0, 0, 1);
    for (int band = 1; band < bands; ++band) {
        const double polar = kPi * band / bands;
        mesh.addCircle(segments, std::sin(polar), std::cos(polar));
    }
    mesh.addPoint(0, 0, -1);
    const int southPole = mesh.vertexCount() - 1;
    const auto at = [&](int band, int i) { return 1 + (band - 1) * segments + i % segments; };
    for (int i = 0; i < segments; ++i) {
        mesh.addFace({ 0, at(1, i + 1), at(1, i) });
        for (int band = 1; band + 1 < bands; ++band)
            mesh.addFace({ at(band, i), at(band, i + 1), at(band + 1, i + 1), at(band + 1, i) });
        mesh.addFace({ southPole, at(bands - 1, i), at(bands - 1, i + 1) });
    }
    return mesh;
}

/// Closed: two faces of seven corners and as many quads.
inline TestMesh testPrism()
{
    TestMesh mesh { QStringLiteral("prism"), {}, {}, {} };
    mesh.addCircle(7, 1, 1);
    mesh.addCircle(7, 1, -1);
    mesh.addFace({ 6, 5, 4, 3, 2, 1, 0 });
    mesh.addFace({ 7, 8, 9, 10, 11, 12, 13 });
    for (int i = 0; i < 7; ++i)
        mesh.addFace({ i, (i + 1) % 7, 7 + (i + 1) % 7, 7 + i });
    return mesh;
}

/// Triangles of a kind seldom met, on the points of a curved sheet.
inline TestMesh testOddTriangles(const char *name, std::vector<qint32> indices)
{
    TestMesh mesh = testGrid(3);
    mesh.name = QLatin1String(name);
    mesh.indices = std::move(indices);
    mesh.counts.assign(mesh.indices.size() / 3, 3);
    return mesh;
}

/// Two separate fans of two triangles that share vertex 4 only.
inline TestMesh testTwoFans()
{
    return testOddTriangles("two fans", { 4, 0, 3, 4, 3, 6, 4, 8, 5, 4, 5, 2 });
}

/// A curved sheet with a NaN point in its middle and an infinite one in a corner.
inline TestMesh testNaNPoint()
{
    TestMesh mesh = testGrid(5);
    mesh.name = QStringLiteral("NaN point");
    mesh.points[12].setX(std::numeric_limits<float>::quiet_NaN());
    mesh.points[0].setZ(std::numeric_limits<float>::infinity());
    return mesh;
}

/// The whole shelf; vertex counts of 0, 1, 1023, 1024 and 1025 included.
inline std::vector<TestMesh> testMeshes()
{
    TestMesh looseAtTheEnd = testGrid(4); // rings with no entry at the tables' end
    looseAtTheEnd.name = QStringLiteral("sheet and loose points");
    looseAtTheEnd.addPoint(3, 0, 0);
    looseAtTheEnd.addPoint(3, 1, 0);
    return { testCube(), testSphere(), testPrism(), testLoosePoints(0), testLoosePoints(1),
             testGrid(2), testGrid(9, 6, 0.1, true), testGrid(33, 31, 0.1), testGrid(32),
             testGrid(41, 25, 0.1), testTwoFans(),
             testOddTriangles("three on an edge", { 1, 4, 5, 4, 1, 0, 1, 4, 8 }),
             // One alone, and two that share an edge and are wound against each other.
             testOddTriangles("loose triangles", { 0, 3, 1, 4, 7, 8, 4, 5, 8 }), testNaNPoint(),
             looseAtTheEnd };
}
