// Writes the shapes that ship with the program: make_shapes FOLDER
//
// Each is the surface where a distance function is zero, found by surface nets on a grid, evened
// out, drawn back onto the surface, and given the function's slope as its normals.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace {

struct Vec {
    double x = 0, y = 0, z = 0;
};
Vec operator+(Vec a, Vec b) { return { a.x + b.x, a.y + b.y, a.z + b.z }; }
Vec operator-(Vec a, Vec b) { return { a.x - b.x, a.y - b.y, a.z - b.z }; }
Vec operator*(Vec a, double s) { return { a.x * s, a.y * s, a.z * s }; }
double dot(Vec a, Vec b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
double length(Vec a) { return std::sqrt(dot(a, a)); }

using Field = std::function<double(Vec)>; // negative inside

// Unions, cuts and their rounded forms; `round` is the width of the seam.
double join(double a, double b, double round)
{
    const double h = std::max(round - std::abs(a - b), 0.0) / round;
    return std::min(a, b) - h * h * round * 0.25;
}
double cut(double body, double hole, double round) { return -join(-body, hole, round); }

double ball(Vec p, double radius) { return length(p) - radius; }
// Close to the distance, near the surface at least.
double ellipsoid(Vec p, Vec radii)
{
    const Vec scaled { p.x / radii.x, p.y / radii.y, p.z / radii.z };
    const Vec slope { scaled.x / radii.x, scaled.y / radii.y, scaled.z / radii.z };
    const double k = length(scaled);
    return k * (k - 1.0) / std::max(length(slope), 1e-9);
}
// A rod from a to b whose ends have the radii r and s.
double rod(Vec p, Vec a, Vec b, double r, double s)
{
    const Vec along = b - a;
    const double t = std::clamp(dot(p - a, along) / dot(along, along), 0.0, 1.0);
    return length(p - a - along * t) - (r + (s - r) * t);
}

double sphere(Vec p) { return ball(p - Vec { 0, 3, 0 }, 3.0); }

double torus(Vec p)
{
    const double ring = std::hypot(p.x, p.z) - 2.9;
    return std::hypot(ring, p.y - 1.2) - 1.2;
}

double dentedBox(Vec p)
{
    const double rounding = 0.85;
    const Vec side { std::abs(p.x) - 2.9 + rounding, std::abs(p.y - 1.9) - 1.9 + rounding,
                     std::abs(p.z) - 2.1 + rounding };
    const Vec outside { std::max(side.x, 0.0), std::max(side.y, 0.0), std::max(side.z, 0.0) };
    const double box =
        length(outside) + std::min(std::max({ side.x, side.y, side.z }), 0.0) - rounding;
    const double front = cut(box, ball(p - Vec { 0.9, 2.0, 4.0 }, 2.5), 0.7);
    return cut(front, ball(p - Vec { -1.3, 5.0, -0.3 }, 1.9), 0.7);
}

// Looks along +z; both halves alike, so that only one side is described.
double head(Vec p)
{
    const Vec q { std::abs(p.x), p.y, p.z };
    double d = ellipsoid(q - Vec { 0, 4.55, -0.35 }, { 1.85, 1.95, 2.25 }); // skull
    d = join(d, ellipsoid(q - Vec { 0, 3.35, 0.55 }, { 1.3, 1.75, 1.35 }), 0.7); // face
    d = join(d, ellipsoid(q - Vec { 0, 1.95, 1.15 }, { 0.62, 0.45, 0.55 }), 0.6); // chin
    d = join(d, ellipsoid(q - Vec { 0.95, 3.45, 1.15 }, { 0.5, 0.42, 0.45 }), 0.5); // cheeks
    d = cut(d, ball(q - Vec { 0.72, 4.1, 2.15 }, 0.42), 0.5); // eye sockets
    d = join(d, ball(q - Vec { 0.66, 4.07, 1.5 }, 0.4), 0.12); // eyes
    d = join(d, rod(q, { 0, 4.6, 1.85 }, { 1.1, 4.6, 1.4 }, 0.2, 0.14), 0.35); // brows
    d = join(d, rod(q, { 0, 4.35, 1.8 }, { 0, 3.45, 2.25 }, 0.16, 0.27), 0.3); // nose
    d = join(d, ball(q - Vec { 0.24, 3.38, 2.02 }, 0.17), 0.2); // nostrils
    d = join(d, rod(q, { 0, 2.78, 1.92 }, { 0.42, 2.72, 1.72 }, 0.15, 0.06), 0.2); // upper lip
    d = join(d, rod(q, { 0, 2.5, 1.88 }, { 0.36, 2.58, 1.72 }, 0.17, 0.06), 0.2); // lower lip
    d = cut(d, rod(q, { 0, 2.64, 2.08 }, { 0.5, 2.66, 1.8 }, 0.05, 0.03), 0.1); // mouth
    const double ear = cut(ellipsoid(q - Vec { 1.86, 3.95, -0.25 }, { 0.22, 0.68, 0.45 }),
                           ellipsoid(q - Vec { 2.1, 4.0, -0.1 }, { 0.16, 0.42, 0.24 }), 0.2);
    d = join(d, ear, 0.2);
    d = join(d, rod(q, { 0, 0.9, -0.75 }, { 0, 3.0, -0.55 }, 1.0, 0.95), 0.5); // neck
    d = join(d, ellipsoid(q - Vec { 0, 0.1, -0.55 }, { 1.95, 1.25, 1.35 }), 0.6); // bust
    return cut(d, p.y, 0.25); // stands on the grid
}

Vec slope(const Field &field, Vec p)
{
    const double step = 1e-4;
    const Vec raw { field(p + Vec { step }) - field(p - Vec { step }),
                    field(p + Vec { 0, step }) - field(p - Vec { 0, step }),
                    field(p + Vec { 0, 0, step }) - field(p - Vec { 0, 0, step }) };
    return raw * (1.0 / std::max(length(raw), 1e-12));
}

using Cell = std::array<int, 3>;
using Quad = std::array<int, 4>;

struct Mesh {
    std::vector<Vec> points;
    std::vector<Quad> quads;
};

// Surface nets: a vertex in each cell the surface passes, a quad around each grid edge it crosses.
class SurfaceNet {
public:
    SurfaceNet(const Field &field, double cellSize)
        : m_field(field)
        , m_size(cellSize)
        , m_reach(int(std::ceil(kExtent / cellSize)))
    {
    }

    Mesh build()
    {
        for (int x = -m_reach; x < m_reach; ++x)
            for (int y = -m_reach; y < m_reach; ++y)
                for (int z = -m_reach; z < m_reach; ++z)
                    for (int axis = 0; axis < 3; ++axis)
                        addEdge({ x, y, z }, axis);
        return m_mesh;
    }

private:
    static constexpr double kExtent = 7.0; // every shape lies this near the origin

    Vec corner(Cell cell) const
    {
        return Vec { double(cell[0]), double(cell[1]), double(cell[2]) } * m_size;
    }

    void addEdge(Cell from, int axis)
    {
        Cell to = from;
        ++to[axis];
        const bool inside = m_field(corner(from)) < 0.0;
        if (inside == (m_field(corner(to)) < 0.0))
            return;
        const int u = (axis + 1) % 3;
        const int v = (axis + 2) % 3;
        Quad quad;
        for (int i = 0; i < 4; ++i) {
            Cell cell = from;
            cell[u] -= i == 1 || i == 2 ? 0 : 1;
            cell[v] -= i >= 2 ? 0 : 1;
            quad[i] = vertexOf(cell);
        }
        if (!inside)
            std::swap(quad[1], quad[3]);
        m_mesh.quads.push_back(quad);
    }

    int vertexOf(Cell cell)
    {
        const auto [found, added] = m_vertices.try_emplace(cell, int(m_mesh.points.size()));
        if (added)
            m_mesh.points.push_back(corner(cell) + Vec { 0.5, 0.5, 0.5 } * m_size);
        return found->second;
    }

    const Field &m_field;
    const double m_size;
    const int m_reach;
    std::map<Cell, int> m_vertices;
    Mesh m_mesh;
};

// Each round moves the points towards their neighbours' middle, then back onto the surface.
void evenOut(Mesh &mesh, const Field &field)
{
    constexpr int kRounds = 20;
    for (int round = 0; round < kRounds; ++round) {
        std::vector<Vec> sums(mesh.points.size());
        std::vector<int> counts(mesh.points.size());
        for (const Quad &quad : mesh.quads)
            for (int i = 0; i < 4; ++i) {
                sums[quad[i]] = sums[quad[i]] + mesh.points[quad[(i + 1) % 4]];
                ++counts[quad[i]];
            }
        for (size_t i = 0; i < mesh.points.size(); ++i) {
            Vec &point = mesh.points[i];
            point = point * 0.5 + sums[i] * (0.5 / counts[i]);
            for (int step = 0; step < 4; ++step)
                point = point - slope(field, point) * field(point);
        }
    }
}

// Without the zeros that say nothing: "0.500" as ".5", "-0.000" as "0".
std::string shortNumber(double value)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.3f", value);
    std::string text = buffer;
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.')
        text.pop_back();
    if (const size_t zero = text.find("0."); zero == 0 || (zero == 1 && text[0] == '-'))
        text.erase(zero, 1);
    return text == "-0" ? "0" : text;
}

std::string line(const char *key, Vec v)
{
    return key + (' ' + shortNumber(v.x)) + ' ' + shortNumber(v.y) + ' ' + shortNumber(v.z) + '\n';
}

std::string cornerText(int vertex)
{
    const std::string number = std::to_string(vertex + 1);
    return ' ' + number + "/1/" + number;
}

// The corners name a texture coordinate, as readers may drop the normal of a corner without one.
bool write(const std::string &path, const Mesh &mesh, const Field &field)
{
    std::string text = "# made by make_shapes\nvt 0 0\n";
    for (const Vec &point : mesh.points)
        text += line("v", point);
    for (const Vec &point : mesh.points)
        text += line("vn", slope(field, point));
    for (const Quad &quad : mesh.quads) {
        text += 'f';
        for (const int vertex : quad)
            text += cornerText(vertex);
        text += '\n';
    }
    std::FILE *file = std::fopen(path.c_str(), "wb");
    const bool written = file && std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return file && std::fclose(file) == 0 && written;
}

struct Shape {
    const char *name;
    Field field;
    double cellSize;
};

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_shapes FOLDER\n");
        return 2;
    }
    const Shape shapes[] = { { "sphere", sphere, 0.25 },
                             { "torus", torus, 0.25 },
                             { "dented_box", dentedBox, 0.18 },
                             { "head", head, 0.15 } };
    for (const Shape &shape : shapes) {
        Mesh mesh = SurfaceNet(shape.field, shape.cellSize).build();
        evenOut(mesh, shape.field);
        const std::string path = std::string(argv[1]) + '/' + shape.name + ".obj";
        if (!write(path, mesh, shape.field)) {
            std::fprintf(stderr, "make_shapes: can't write %s\n", path.c_str());
            return 1;
        }
        std::printf("%s: %zu points, %zu quads\n", path.c_str(), mesh.points.size(),
                    mesh.quads.size());
    }
}
