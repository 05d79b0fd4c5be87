#pragma once

#include "gpu/BrushType.h"
#include "reference/Ring.h"

#include <QImage>

/// The four steps of a dab as plain loops in double, written from their formulas. The names of the
/// poses are those of the buffers.
namespace reference {

/// Where the segment from `nearPoint` to `farPoint` crosses a triangle's plane.
struct Crossing {
    double distance; ///< from the near point; NaN where the plane is not crossed
    double inside; ///< the smallest barycentric coordinate: negative outside
    double facing; ///< positive where the triangle is seen from its front
};

/// Cramer's rule on near + t (far - near) = A + u (B - A) + v (C - A).
inline Crossing crossing(Vec nearPoint, Vec farPoint, Vec a, Vec b, Vec c)
{
    const Vec along = farPoint - nearPoint, ab = b - a, ac = c - a, from = nearPoint - a;
    const Vec n = cross(ab, ac);
    const double determinant = -dot(along, n);
    const double t = dot(from, n) / determinant;
    const Vec turned = cross(from, along);
    const double u = dot(ac, turned) / determinant, v = -dot(ab, turned) / determinant;
    if (!(t > 0.0 && t < 1.0))
        return { std::nan(""), -1.0, 0.0 };
    return { t * length(along), std::min({ u, v, 1.0 - u - v }), determinant };
}

inline double brushWeight(Vec hit, Vec p, double radius)
{
    const double t = length(hit - p) / radius;
    return t < 1.0 ? 1 - 3 * t * t + 2 * t * t * t : 0.0; // a NaN point weighs nothing
}

struct Area {
    Vec position, normal;
    int points = 0;
};

inline Area brushArea(Vec hit, double radius, const Pose &position, const Pose &normal)
{
    Area area;
    for (size_t i = 0; i < position.size(); ++i) {
        if (!(length(hit - position[i]) < radius))
            continue;
        area.position = area.position + position[i];
        area.normal = area.normal + cleaned(normal[i]);
        ++area.points;
    }
    if (area.points > 0)
        area.position = area.position * (1.0 / area.points);
    area.normal = cleaned(normalized(area.normal));
    return area;
}

struct BrushFrame {
    Vec x { 1, 0, 0 }, y { 0, 1, 0 }, z { 0, 0, 1 }, origin;
};

/// The frame of the next dab: Y follows the way from the last one's origin.
inline BrushFrame nextFrame(Vec lastOrigin, const Area &area)
{
    const Vec x = normalized(cross(area.position - lastOrigin, area.normal));
    const Vec y = normalized(cross(area.normal, x));
    return finite(x) && finite(y) ? BrushFrame { x, y, area.normal, area.position } : BrushFrame();
}

/// A brush alpha of 256 x 256 texels; u to the right, v upwards.
class Alpha {
public:
    explicit Alpha(const QString &path)
        : m_image(path)
    {
    }

    double at(double u, double v) const
    {
        if (!(u >= 0 && u <= 1 && v >= 0 && v <= 1))
            return 0.0;
        const double i = std::floor(u * 256), j = std::floor(v * 256);
        const double s = u * 256 - i, t = v * 256 - j;
        return (texel(i, j) * (1 - s) + texel(i + 1, j) * s) * (1 - t) +
            (texel(i, j + 1) * (1 - s) + texel(i + 1, j + 1) * s) * t;
    }

private:
    double texel(double i, double j) const
    {
        const int x = std::min(int(i), 255), y = std::min(int(j), 255);
        return qRed(m_image.pixel(x, 255 - y)) / 255.0;
    }

    QImage m_image;
};

/// What the sculpt step reads, and after it what it leaves.
struct Dab {
    Rings rings;
    Pose position {}, normal {}, deltas {}, backupPoints {}, offsetPoints {};
    std::vector<double> mask {}, falloff {};
    Area area {};
    BrushFrame frame {};
    BrushSettings brush {};
    Vec moveVector {};
};

inline double alphaOf(const Dab &dab, const Alpha &alpha, Vec p)
{
    const Vec q = p - dab.frame.origin; // the frame's axes are orthonormal
    const double r = double(dab.brush.radius);
    return alpha.at(0.5 + dot(q, dab.frame.x) / (2 * r), 0.5 + dot(q, dab.frame.y) / (2 * r));
}

inline Vec displacement(const Dab &dab, size_t i, const Alpha &alpha)
{
    const Vec p = dab.position[i], n = dab.area.normal, centre = dab.area.position;
    const double f = dab.falloff[i], m = 1 - dab.mask[i], r = double(dab.brush.radius);
    const double intensity = double(dab.brush.intensity);
    const double k = intensity * double(dab.brush.pressure);
    const double sign = dab.brush.control ? -1 : 1, a = alphaOf(dab, alpha, p);
    const std::vector<quint32> ring = dab.rings.of(i);
    switch (dab.brush.type) {
    case BrushType::Clay: {
        const double height = dot(p - centre - n * (sign * 0.1 * r), n);
        return cleaned(n * (-height * k * a * f * m)) * 2;
    }
    case BrushType::Move:
        return cleaned(dab.moveVector * (f * intensity * m));
    case BrushType::Standard:
        return cleaned(n * (sign * k * r * 0.1 * f * m));
    case BrushType::Crease:
        return cleaned((n * (sign * r * 0.2 * f * k * a) + (centre - p) * (f * a * 0.1)) * m) * 2;
    case BrushType::Inflate:
        return cleaned(dab.normal[i] * (m * k * f * sign * r * 0.2));
    case BrushType::Fix: {
        const Vec detail = dab.offsetPoints[i] - ringMean(ring, dab.offsetPoints);
        const Vec v = carried(detail, i, dab.rings, dab.offsetPoints, dab.backupPoints);
        return cleaned(ringMean(ring, dab.backupPoints) + v - p) * (f * k);
    }
    case BrushType::Flatten:
        return cleaned(n * (-dot(n, p - centre) / dot(n, n)) * (f * k));
    case BrushType::Erase:
        return cleaned((dab.backupPoints[i] - dab.offsetPoints[i]) * (f * k));
    case BrushType::Smooth:
        return (ringMean(ring, dab.backupPoints) - p) * (f * intensity);
    default:
        return {};
    }
}

inline double paintedMask(const Dab &dab, size_t i)
{
    const double f = dab.falloff[i], m = dab.mask[i], intensity = double(dab.brush.intensity);
    const double target =
        dab.brush.control ? std::max(m - f * intensity, 0.0) : std::min(m + f, intensity);
    return m + (target - m) * f;
}

/// Right only where no two vertices that carry a weight are neighbours: the kernel works in place.
inline double smoothedMask(const Dab &dab, size_t i)
{
    const std::vector<quint32> ring = dab.rings.of(i);
    double mean = 0.0;
    for (const quint32 neighbour : ring)
        mean += dab.mask[neighbour] / double(ring.size());
    const double m = dab.mask[i];
    return std::clamp(m + (mean - m) * dab.falloff[i] * double(dab.brush.intensity), 0.0, 1.0);
}

/// The state after the dab. Without a hit the caller expects the state before it.
inline Dab sculpted(const Dab &before, const Alpha &alpha)
{
    Dab after = before;
    const BrushType type = before.brush.type;
    for (size_t i = 0; i < before.position.size(); ++i) {
        if (before.falloff[i] < 0.0001)
            continue;
        const Vec d = displacement(before, i, alpha);
        after.position[i] = before.position[i] + d;
        after.deltas[i] = before.deltas[i] + d;
        if (type == BrushType::Erase)
            after.offsetPoints[i] = before.offsetPoints[i] + d;
        if (type == BrushType::Mask)
            after.mask[i] = paintedMask(before, i);
        if (type == BrushType::MaskSmooth)
            after.mask[i] = smoothedMask(before, i);
        if (type != BrushType::Move)
            after.falloff[i] = 0.0;
    }
    return after;
}

} // namespace reference
