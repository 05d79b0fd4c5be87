#include "viewport/PixelLine.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

std::vector<QPoint> pixelLine(const QPoint &from, const QPoint &to)
{
    const QPoint delta = to - from;
    const bool alongY = std::abs(delta.x()) < std::abs(delta.y());
    const int length = std::abs(alongY ? delta.y() : delta.x());
    const int rise = std::abs(alongY ? delta.x() : delta.y());
    const bool forward = (alongY ? delta.y() : delta.x()) > 0;
    const QPoint stepX(delta.x() < 0 ? -1 : 1, 0);
    const QPoint stepY(0, delta.y() < 0 ? -1 : 1);
    const QPoint majorStep = alongY ? stepY : stepX;
    const QPoint minorStep = alongY ? stepX : stepY;

    std::vector<QPoint> line { from };
    line.reserve(size_t(length) + 1);
    int error = -length;
    for (QPoint pixel = from; int(line.size()) <= length; line.push_back(pixel)) {
        error += 2 * rise;
        if (error > 0 || (error == 0 && forward)) {
            pixel += minorStep;
            error -= 2 * length;
        }
        pixel += majorStep;
    }
    return line;
}

double stampSpacing(int radius) { return 0.15 * std::min(radius, 50); }

std::vector<QPoint> stampsAlong(const std::vector<QPoint> &line, double spacing, QPoint &lastStamp)
{
    std::vector<QPoint> stamps;
    for (const QPoint &pixel : line) {
        const QPoint step = pixel - lastStamp;
        if (std::sqrt(double(QPoint::dotProduct(step, step))) > spacing) {
            stamps.push_back(pixel);
            lastStamp = pixel;
        }
    }
    return stamps;
}
