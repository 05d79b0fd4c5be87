// make_sample OUT.abc: writes the sample archive, the same bytes every time. An arm whose elbow
// collapses when it bends, a hanging sheet, a ball as a subdivision surface and two cameras:
// 48 frames at 24 per second, the rest pose at frame 0, about ten units wide and standing on y = 0.

#include <Alembic/AbcCoreOgawa/ReadWrite.h>
#include <Alembic/AbcGeom/OCamera.h>
#include <Alembic/AbcGeom/OPolyMesh.h>
#include <Alembic/AbcGeom/OSubD.h>
#include <Alembic/AbcGeom/OXform.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <vector>

namespace {

namespace Abc = Alembic::Abc;
namespace AbcGeom = Alembic::AbcGeom;
using Imath::M44d;
using Imath::V3d;
using Imath::V3f;

constexpr int kFrameCount = 48;
constexpr double kFramesPerSecond = 24.0;

/// Faces wind clockwise seen from outside, as archives have it.
struct Mesh {
    std::vector<V3d> points;
    std::vector<Alembic::Util::int32_t> indices;
    std::vector<Alembic::Util::int32_t> counts;

    void addQuad(int a, int b, int c, int d)
    {
        indices.insert(indices.end(), { a, b, c, d });
        counts.push_back(4);
    }
};

double radians(double degrees) { return degrees * M_PI / 180.0; }

/// 0 up to `from`, 1 beyond `to`, smooth between.
double ease(double from, double to, double value)
{
    const double t = std::clamp((value - from) / (to - from), 0.0, 1.0);
    return t * t * (3.0 - 2.0 * t);
}

double bump(double value, double centre, double width)
{
    const double t = (value - centre) / width;
    return std::exp(-t * t);
}

// The arm lies along x, shoulder at the negative end, elbow at the origin; it bends towards +y.

constexpr int kAround = 64;
constexpr int kAlong = 148;
constexpr int kCap = kAround / 4; ///< quads along a side of the square that closes an end
constexpr double kCapAngle = M_PI / 4.0; ///< of the rounded end, from its pole
constexpr double kShoulder = -3.7, kShoulderRadius = 0.82, kShoulderLength = 0.75;
constexpr double kFingers = 3.75, kHandRadius = 0.42, kHandLength = 0.95;

/// The profile's radius between the two rounded ends.
double armRadius(double x)
{
    const double taper = 0.78 - 0.20 * ease(-3.7, 0.2, x) - 0.24 * ease(0.4, 3.0, x);
    const double muscles = 0.09 * bump(x, -1.9, 0.9) + 0.10 * bump(x, 0.95, 0.75);
    const double hand = 0.08 * ease(2.9, 3.6, x);
    return taper + muscles + hand + 0.04 * bump(x, kShoulder, 0.6);
}

struct Profile {
    double x = 0.0;
    double radius = 0.0;
};

Profile shoulderEnd(double angle)
{
    return { kShoulder - kShoulderLength * std::cos(angle), kShoulderRadius * std::sin(angle) };
}

Profile handEnd(double angle)
{
    return { kFingers + kHandLength * std::cos(angle), kHandRadius * std::sin(angle) };
}

/// One point of the arm's skin: the profile turned about x, with the hand flattened, the biceps in
/// front and the point of the elbow behind.
V3d armPoint(const Profile &profile, double angle)
{
    const double flat = ease(2.7, 3.7, profile.x);
    const double front = std::cos(angle), side = std::sin(angle);
    const double biceps = 0.10 * bump(profile.x, -1.7, 0.7) * std::max(0.0, front);
    const double elbow = 0.09 * bump(profile.x, -0.1, 0.5) * std::pow(std::max(0.0, -front), 2.0);
    const double radius = profile.radius + biceps + elbow;
    return V3d(profile.x, radius * front * (1.0 - 0.42 * flat),
               radius * side * (1.0 + 0.35 * flat));
}

/// The whole profile, finely: the rounded shoulder, the arm, the rounded hand.
std::vector<Profile> fineProfile()
{
    constexpr int kSteps = 400;
    std::vector<Profile> profile;
    for (int i = 0; i < kSteps; ++i)
        profile.push_back(shoulderEnd(kCapAngle + (M_PI / 2.0 - kCapAngle) * i / kSteps));
    for (int i = 0; i < 4 * kSteps; ++i) {
        const double x = kShoulder + (kFingers - kShoulder) * i / (4 * kSteps);
        profile.push_back({ x, armRadius(x) });
    }
    for (int i = 0; i <= kSteps; ++i)
        profile.push_back(handEnd(M_PI / 2.0 - (M_PI / 2.0 - kCapAngle) * i / kSteps));
    return profile;
}

/// kAlong + 1 rings, spaced in proportion to their girth so that the quads are near to square.
std::vector<Profile> ringProfiles()
{
    const std::vector<Profile> fine = fineProfile();
    std::vector<double> distance { 0.0 };
    for (std::size_t i = 1; i < fine.size(); ++i) {
        const double length =
            std::hypot(fine[i].x - fine[i - 1].x, fine[i].radius - fine[i - 1].radius);
        distance.push_back(distance.back() + length / fine[i].radius);
    }
    std::vector<Profile> rings;
    for (int ring = 0; ring < kAlong; ++ring) {
        const double wanted = distance.back() * ring / kAlong;
        const auto next = std::upper_bound(distance.begin(), distance.end(), wanted);
        const std::size_t i = std::size_t(next - distance.begin());
        const double t = (wanted - distance[i - 1]) / (distance[i] - distance[i - 1]);
        rings.push_back({ fine[i - 1].x + t * (fine[i].x - fine[i - 1].x),
                          fine[i - 1].radius + t * (fine[i].radius - fine[i - 1].radius) });
    }
    rings.push_back(fine.back());
    return rings;
}

/// A place on the square [-1, 1]² as (distance, angle) on the disc; the rim's points lie evenly.
std::array<double, 2> discFromSquare(double a, double b)
{
    if (a == 0.0 && b == 0.0)
        return { 0.0, 0.0 };
    if (std::abs(a) >= std::abs(b))
        return { std::abs(a), M_PI / 4.0 * (b / a) + (a < 0.0 ? M_PI : 0.0) };
    return { std::abs(b), M_PI / 2.0 - M_PI / 4.0 * (a / b) + (b < 0.0 ? M_PI : 0.0) };
}

/// Closes an end with a square of quads whose rim is the ring that starts at `firstOfRing`.
void addCap(Mesh &mesh, int firstOfRing, Profile (*end)(double), bool hand)
{
    std::vector<int> vertex;
    for (int row = 0; row <= kCap; ++row) {
        for (int column = 0; column <= kCap; ++column) {
            const auto [distance, angle] =
                discFromSquare(2.0 * column / kCap - 1.0, 2.0 * row / kCap - 1.0);
            if (distance < 1.0) {
                vertex.push_back(int(mesh.points.size()));
                mesh.points.push_back(armPoint(end(distance * kCapAngle), angle));
            } else {
                const int step = int(std::lround(angle * kAround / (2.0 * M_PI)));
                vertex.push_back(firstOfRing + (step + kAround) % kAround);
            }
        }
    }
    for (int row = 0; row < kCap; ++row) {
        for (int column = 0; column < kCap; ++column) {
            const int corner = row * (kCap + 1) + column;
            const int a = vertex[corner], b = vertex[corner + 1];
            const int c = vertex[corner + kCap + 2], d = vertex[corner + kCap + 1];
            hand ? mesh.addQuad(a, d, c, b) : mesh.addQuad(a, b, c, d);
        }
    }
}

Mesh makeArm()
{
    Mesh mesh;
    for (const Profile &ring : ringProfiles())
        for (int i = 0; i < kAround; ++i)
            mesh.points.push_back(armPoint(ring, 2.0 * M_PI * i / kAround));
    for (int ring = 0; ring < kAlong; ++ring) {
        for (int i = 0; i < kAround; ++i) {
            const int here = ring * kAround, there = here + kAround, next = (i + 1) % kAround;
            mesh.addQuad(here + i, there + i, there + next, here + next);
        }
    }
    addCap(mesh, 0, shoulderEnd, false);
    addCap(mesh, kAlong * kAround, handEnd, true);
    return mesh;
}

/// Bent by linear blend skinning: straight averages of where the two bones put a point, which is
/// what makes a sharply bent elbow lose its volume.
std::vector<V3d> bentArm(const std::vector<V3d> &rest, double bend)
{
    std::vector<V3d> points;
    points.reserve(rest.size());
    const double c = std::cos(bend), s = std::sin(bend);
    for (const V3d &p : rest) {
        const double weight = ease(-3.0, 3.0, p.x);
        const V3d turned(c * p.x - s * p.y, s * p.x + c * p.y, p.z);
        points.push_back(p * (1.0 - weight) + turned * weight);
    }
    return points;
}

/// Straight at frame 0, fully bent from frame 28 to 34, half open at the end.
double armBend(int frame)
{
    return radians(105.0 * ease(0, 28, frame) - 55.0 * ease(34, 47, frame));
}

constexpr int kSheet = 40;
constexpr double kSheetWidth = 4.0, kSheetHeight = 5.0;

/// Hangs down from its upper edge, which lies along x through the origin; its outside is +z.
std::vector<V3d> sheetPoints(double seconds)
{
    std::vector<V3d> points;
    for (int row = 0; row <= kSheet; ++row) {
        for (int column = 0; column <= kSheet; ++column) {
            const double u = double(column) / kSheet, v = double(row) / kSheet;
            const double folds = 0.10 * std::sin(6.0 * M_PI * u) * (0.4 + 0.6 * v);
            const double wind = 0.55 * ease(0.0, 0.8, seconds) * v * v;
            const double wave = std::sin(2.0 * M_PI * (0.8 * u + 0.6 * v - 0.9 * seconds));
            points.emplace_back((u - 0.5) * kSheetWidth, -v * kSheetHeight, folds + wind * wave);
        }
    }
    return points;
}

Mesh makeSheet()
{
    Mesh mesh;
    mesh.points = sheetPoints(0.0);
    for (int row = 0; row < kSheet; ++row) {
        for (int column = 0; column < kSheet; ++column) {
            const int corner = row * (kSheet + 1) + column;
            mesh.addQuad(corner, corner + 1, corner + kSheet + 2, corner + kSheet + 1);
        }
    }
    return mesh;
}

/// The cage of a ball: a cube's grid of points pushed out to a sphere.
Mesh makeBall(double radius)
{
    constexpr int kSide = 8;
    Mesh mesh;
    std::vector<int> vertex((kSide + 1) * (kSide + 1) * (kSide + 1), -1);
    const auto vertexAt = [&](const std::array<int, 3> &cell) {
        int &index = vertex[std::size_t((cell[0] * (kSide + 1) + cell[1]) * (kSide + 1) + cell[2])];
        if (index < 0) {
            index = int(mesh.points.size());
            V3d direction;
            for (int axis = 0; axis < 3; ++axis)
                direction[axis] = std::tan(M_PI / 4.0 * (2.0 * cell[axis] / kSide - 1.0));
            mesh.points.push_back(direction.normalized() * radius);
        }
        return index;
    };
    for (int face = 0; face < 6; ++face) {
        const int axis = face / 2, far = face % 2;
        const auto corner = [&](int a, int b) {
            std::array<int, 3> cell {};
            cell[std::size_t(axis)] = far * kSide;
            cell[std::size_t((axis + 1) % 3)] = far ? b : a;
            cell[std::size_t((axis + 2) % 3)] = far ? a : b;
            return vertexAt(cell);
        };
        for (int a = 0; a < kSide; ++a)
            for (int b = 0; b < kSide; ++b)
                mesh.addQuad(corner(a, b), corner(a + 1, b), corner(a + 1, b + 1),
                             corner(a, b + 1));
    }
    return mesh;
}

M44d translation(double x, double y, double z) { return M44d().setTranslation(V3d(x, y, z)); }

M44d rotation(const V3d &axis, double angle) { return M44d().setAxisAngle(axis, angle); }

/// A camera at `eye` looks down its own −z at `target`.
M44d lookAt(const V3d &eye, const V3d &target)
{
    const V3d back = (eye - target).normalized();
    const V3d right = V3d(0, 1, 0).cross(back).normalized();
    const V3d up = back.cross(right);
    return M44d(right.x, right.y, right.z, 0, up.x, up.y, up.z, 0, back.x, back.y, back.z, 0, eye.x,
                eye.y, eye.z, 1);
}

template <class Matrix>
AbcGeom::OXform addTransform(Abc::OObject parent, const char *name,
                             Alembic::Util::uint32_t sampling, Matrix matrixAt)
{
    AbcGeom::OXform object(parent, name, sampling);
    for (int frame = 0; frame < (sampling ? kFrameCount : 1); ++frame) {
        AbcGeom::XformSample sample;
        sample.setMatrix(matrixAt(frame / kFramesPerSecond));
        object.getSchema().set(sample);
    }
    return object;
}

template <class Sample> Sample meshSample(const Mesh &mesh, const std::vector<V3f> &points)
{
    return Sample(Abc::P3fArraySample(points), Abc::Int32ArraySample(mesh.indices),
                  Abc::Int32ArraySample(mesh.counts));
}

std::vector<V3f> singlePrecision(const std::vector<V3d> &points)
{
    return { points.begin(), points.end() };
}

template <class PointsAt>
void addAnimatedMesh(Abc::OObject parent, const char *name, Alembic::Util::uint32_t sampling,
                     const Mesh &mesh, PointsAt pointsAt)
{
    AbcGeom::OPolyMesh object(parent, name, sampling);
    for (int frame = 0; frame < kFrameCount; ++frame) {
        const std::vector<V3f> points = singlePrecision(pointsAt(frame));
        using Sample = AbcGeom::OPolyMeshSchema::Sample;
        object.getSchema().set(frame == 0 ? meshSample<Sample>(mesh, points)
                                          : Sample(Abc::P3fArraySample(points)));
    }
}

/// Apertures in centimetres, focal lengths in millimetres.
void addCamera(Abc::OObject parent, const char *name, Alembic::Util::uint32_t sampling,
               double firstFocalLength, double lastFocalLength)
{
    AbcGeom::OCamera object(parent, name, sampling);
    for (int frame = 0; frame < (sampling ? kFrameCount : 1); ++frame) {
        AbcGeom::CameraSample sample;
        const double t = ease(0, kFrameCount - 1, frame);
        sample.setFocalLength(firstFocalLength + t * (lastFocalLength - firstFocalLength));
        sample.setHorizontalAperture(3.6);
        sample.setVerticalAperture(2.025);
        object.getSchema().set(sample);
    }
}

void addArm(Abc::OObject top, Alembic::Util::uint32_t sampling)
{
    const auto body = addTransform(top, "body", sampling, [](double seconds) {
        return translation(0.15 * std::sin(M_PI * seconds),
                           3.6 + 0.1 * std::sin(2 * M_PI * seconds), 0.0);
    });
    const auto shoulder = addTransform(body, "shoulder", sampling, [](double seconds) {
        const double lift = radians(6.0) * std::sin(M_PI / 2.0 * seconds);
        return translation(-kShoulder, 0, 0) * rotation(V3d(0, 1, 0), 0.5 * lift) *
            rotation(V3d(0, 0, 1), -lift) * translation(kShoulder, 0, 0);
    });
    const Mesh arm = makeArm();
    addAnimatedMesh(shoulder, "arm", sampling, arm,
                    [&arm](int frame) { return bentArm(arm.points, armBend(frame)); });
}

void addSheet(Abc::OObject top, Alembic::Util::uint32_t sampling)
{
    const auto rail = addTransform(top, "rail", sampling, [](double seconds) {
        return translation(2.2 - 0.4 * std::sin(M_PI / 2.0 * seconds), 6.6, -2.4);
    });
    const auto hanger = addTransform(rail, "hanger", sampling, [](double seconds) {
        return rotation(V3d(1, 0, 0), radians(5.0) * std::sin(2.0 * M_PI * seconds));
    });
    addAnimatedMesh(hanger, "sheet", sampling, makeSheet(),
                    [](int frame) { return sheetPoints(frame / kFramesPerSecond); });
}

void addBall(Abc::OObject top)
{
    constexpr double kRadius = 1.2;
    const auto place =
        addTransform(top, "floor", 0, [](double) { return translation(2.4, kRadius, 0.4); });
    const Mesh ball = makeBall(kRadius);
    AbcGeom::OSubD object(place, "ball");
    object.getSchema().set(
        meshSample<AbcGeom::OSubDSchema::Sample>(ball, singlePrecision(ball.points)));
}

void addCameras(Abc::OObject top, Alembic::Util::uint32_t sampling)
{
    const V3d target(0.0, 4.1, 0.0);
    const auto dolly = addTransform(top, "dolly", sampling, [&target](double seconds) {
        const double angle = radians(-25.0 + 50.0 * ease(0.0, 47.0 / kFramesPerSecond, seconds));
        return lookAt(V3d(17.0 * std::sin(angle), 5.5, 17.0 * std::cos(angle)), target);
    });
    addCamera(dolly, "shotCamera", sampling, 32.0, 36.0);
    const auto tripod = addTransform(
        top, "tripod", 0, [&target](double) { return lookAt(V3d(-11.0, 6.5, 13.0), target); });
    addCamera(tripod, "witnessCamera", 0, 35.0, 35.0);
}

void writeSample(const std::string &path)
{
    // No date or writer's name in it: every machine gets the same bytes.
    Abc::OArchive archive(Alembic::AbcCoreOgawa::WriteArchive(), path);
    const auto sampling = archive.addTimeSampling(
        Alembic::AbcCoreAbstract::TimeSampling(1.0 / kFramesPerSecond, 0.0));
    addArm(archive.getTop(), sampling);
    addSheet(archive.getTop(), sampling);
    addBall(archive.getTop());
    addCameras(archive.getTop(), sampling);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_sample OUT.abc\n");
        return 2;
    }
    try {
        // Under another name first: an interrupted run must not leave half an archive behind.
        const std::string part = std::string(argv[1]) + ".part";
        writeSample(part);
        std::filesystem::rename(part, argv[1]);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "make_sample: %s\n", error.what());
        return 1;
    }
    return 0;
}
