// Draws the brush alphas of resources/alphas2d: make_alphas FOLDER

#include <QDir>
#include <QImage>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

constexpr int kSize = 256; // the sculpt kernel filters for this size

double smoothStep(double low, double high, double x)
{
    const double t = std::clamp((x - low) / (high - low), 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

/// Grey by a function of x and y from -1 to 1.
template <class Shape> QImage draw(Shape shape)
{
    QImage image(kSize, kSize, QImage::Format_Grayscale8);
    for (int y = 0; y < kSize; ++y) {
        for (int x = 0; x < kSize; ++x) {
            const double value = shape((x + 0.5) * 2 / kSize - 1, (y + 0.5) * 2 / kSize - 1);
            image.scanLine(y)[x] = uchar(std::lround(255 * value));
        }
    }
    return image;
}

/// A rounded square, flat inside, that fades out over its rim.
double square(double x, double y)
{
    constexpr double kCorner = 0.3; // radius
    constexpr double kHalf = 0.85; // to the middle of the rim
    const double dx = std::max(std::abs(x) - (kHalf - kCorner), 0.0);
    const double dy = std::max(std::abs(y) - (kHalf - kCorner), 0.0);
    return 1 - smoothStep(kCorner - 0.12, kCorner + 0.12, std::hypot(dx, dy));
}

/// A dot that is full in the middle only and reaches zero before the edge.
double dot(double x, double y) { return 1 - smoothStep(0.0, 0.95, std::hypot(x, y)); }

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_alphas FOLDER\n");
        return 2;
    }
    const QDir folder(QString::fromLocal8Bit(argv[1]));
    const bool written = draw(square).save(folder.filePath(QStringLiteral("square.png"))) &&
        draw(dot).save(folder.filePath(QStringLiteral("dot.png")));
    if (!written)
        std::fprintf(stderr, "can't write to %s\n", argv[1]);
    return written ? 0 : 1;
}
