#include "timeline/RulerMath.h"

#include "layers/Envelope.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

/// Far outside any widget, and inside what the raster painter's fixed-point coordinates hold.
constexpr double kFarPixels = 16000.0;
constexpr double kCurveMargin = 64.0;

struct Cubic {
    QPointF p0, p1, p2, p3;
};

QPointF middle(const QPointF &a, const QPointF &b, double t) { return a + (b - a) * t; }

/// The halves of a cubic before and after t (de Casteljau).
std::pair<Cubic, Cubic> splitCubic(const Cubic &c, double t)
{
    const QPointF a = middle(c.p0, c.p1, t);
    const QPointF b = middle(c.p1, c.p2, t);
    const QPointF d = middle(c.p2, c.p3, t);
    const QPointF ab = middle(a, b, t);
    const QPointF bd = middle(b, d, t);
    const QPointF on = middle(ab, bd, t);
    return { { c.p0, a, ab, on }, { on, bd, d, c.p3 } };
}

/// The t at which an ease that runs left to right passes column x; its x only ever grows.
double parameterAt(const Cubic &c, double x)
{
    double low = 0.0;
    double high = 1.0;
    for (int step = 0; step < 60; ++step) {
        const double t = (low + high) / 2;
        (splitCubic(c, t).first.p3.x() < x ? low : high) = t;
    }
    return high;
}

double heldFar(double pixels)
{
    return std::isnan(pixels) ? 0.0 : std::clamp(pixels, -kFarPixels, kFarPixels);
}

} // namespace

int truncated(double number)
{
    using Limits = std::numeric_limits<int>;
    if (std::isnan(number))
        return 0;
    return int(std::clamp(number, double(Limits::min()), double(Limits::max())));
}

int lastFrame(const FrameRange &range) { return std::max(range.start, range.end); }

qint64 frameCount(const FrameRange &range) { return qint64(lastFrame(range)) - range.start + 1; }

RulerPoint rulerPoint(const QPoint &pixel, const QSize &widget, const FrameRange &range)
{
    const int width = std::max(widget.width(), 1);
    const int height = std::max(widget.height(), 1);
    return { double(pixel.x()) * double(frameCount(range)) / width,
             float(height - pixel.y()) / float(height) };
}

int frameUnder(const RulerPoint &point, const FrameRange &range)
{
    return truncated(std::trunc(point.frameOffset) + range.start);
}

int clampedFrame(int frame, const FrameRange &range)
{
    return std::clamp(frame, range.start, lastFrame(range));
}

float pixelsPerFrame(int width, const FrameRange &range)
{
    return float(width) / float(frameCount(range));
}

int markerWidth(float pixelsPerFrame) { return std::max(truncated(double(pixelsPerFrame)), 2); }

QRect markerRect(int frame, const QSize &widget, const FrameRange &range)
{
    const float p = pixelsPerFrame(widget.width(), range);
    const float x = float(qint64(frame) - range.start) * p;
    return { truncated(heldFar(double(x))), 0, markerWidth(p), widget.height() };
}

std::vector<int> tickColumns(int width, const FrameRange &range)
{
    const float p = pixelsPerFrame(width, range);
    const qint64 count = frameCount(range);
    const qint64 step = std::max<qint64>(1, count / std::max(width, 1));
    std::vector<int> columns;
    for (qint64 i = 0; i < count; i += step)
        columns.push_back(truncated(double(float(i) * p)));
    return columns;
}

QPointF keyPoint(const LayerKey &key, double framesPerSecond, const QSize &widget,
                 const FrameRange &range)
{
    const float p = pixelsPerFrame(widget.width(), range);
    const qint64 offset = qint64(frameAtTime(key.time, framesPerSecond)) - range.start;
    const int rise = truncated(double(key.value * float(widget.height())));
    const int half = markerWidth(p) / 2;
    return { half + double(float(offset) * p), heldFar(double(widget.height()) - rise) };
}

QPainterPath keyCurve(const QPointF &from, const QPointF &to, int width)
{
    const double left = -kCurveMargin;
    const double right = width + kCurveMargin;
    if (to.x() < left || from.x() > right)
        return {};
    const double x = (from.x() + to.x()) / 2;
    Cubic ease { from, { x, from.y() }, { x, to.y() }, to };
    if (ease.p3.x() > kFarPixels)
        ease = splitCubic(ease, parameterAt(ease, right)).first;
    if (ease.p0.x() < -kFarPixels)
        ease = splitCubic(ease, parameterAt(ease, left)).second;
    QPainterPath path(ease.p0);
    path.cubicTo(ease.p1, ease.p2, ease.p3);
    return path;
}

int firstKeyAt(const std::vector<LayerKey> &keys, int frame, double framesPerSecond)
{
    const auto onFrame = [&](const LayerKey &key) {
        return frameAtTime(key.time, framesPerSecond) == frame;
    };
    const auto found = std::find_if(keys.begin(), keys.end(), onFrame);
    return found == keys.end() ? -1 : int(found - keys.begin());
}

int lastKeyAt(const std::vector<LayerKey> &keys, int frame, double framesPerSecond)
{
    for (int index = int(keys.size()) - 1; index >= 0; --index)
        if (frameAtTime(keys[size_t(index)].time, framesPerSecond) == frame)
            return index;
    return -1;
}

bool addKey(std::vector<LayerKey> &keys, int frame, float value, double framesPerSecond)
{
    if (firstKeyAt(keys, frame, framesPerSecond) >= 0)
        return false;
    keys.push_back({ frame / framesPerSecond, value, false });
    return true;
}

bool removeKey(std::vector<LayerKey> &keys, int frame, double framesPerSecond)
{
    const int index = lastKeyAt(keys, frame, framesPerSecond);
    if (index < 0)
        return false;
    keys.erase(keys.begin() + index);
    return true;
}

int sortKeysAround(std::vector<LayerKey> &keys, int index)
{
    if (index < 0 || size_t(index) >= keys.size())
        return -1;
    const LayerKey key = keys[size_t(index)];
    sortKeys(keys);
    const auto found = std::find(keys.begin(), keys.end(), key);
    return found == keys.end() ? -1 : int(found - keys.begin());
}

float draggedValue(float value, float change) { return std::clamp(value + change, 0.0f, 1.0f); }

int previousFrame(int current, const FrameRange &range)
{
    return current <= range.start ? range.start : current - 1;
}

int nextFrame(int current, const FrameRange &range)
{
    return current >= lastFrame(range) ? range.start : current + 1;
}

int playInterval(double framesPerSecond) { return int(1000.0 / std::max(framesPerSecond, 1.0)); }
