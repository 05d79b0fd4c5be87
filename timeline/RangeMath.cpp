#include "timeline/RangeMath.h"

#include <algorithm>

namespace {

/// pixels ÷ width × frames without its fraction. Whole numbers keep it exact: 29 of 100 pixels are
/// 29 frames of 100, which floating point misses.
double frameShare(int pixels, int width, int frames)
{
    const qint64 share = width > 0 ? qint64(pixels) * frames / width : 0;
    return double(share);
}

} // namespace

int shrinkLimit(int barWidth, int minimumWidth, int wanted)
{
    return barWidth <= minimumWidth ? 0 : std::min(wanted, barWidth - minimumWidth);
}

RangeMargins dragLeftEnd(RangeMargins margins, int dx, int barWidth, int minimumWidth)
{
    if (dx > 0)
        dx = shrinkLimit(barWidth, minimumWidth, dx);
    margins.left = std::max(margins.left + dx, 0);
    return margins;
}

RangeMargins dragRightEnd(RangeMargins margins, int dx, int barWidth, int minimumWidth)
{
    if (dx < 0)
        dx = -shrinkLimit(barWidth, minimumWidth, -dx);
    margins.right = std::max(margins.right - dx, 0);
    return margins;
}

RangeMargins dragBody(RangeMargins margins, int dx)
{
    const int moved = std::clamp(dx, -margins.left, margins.right);
    return { margins.left + moved, margins.right - moved };
}

RangeMargins scaledMargins(const RangeMargins &margins, int oldWidth, int newWidth)
{
    if (oldWidth <= 0)
        return margins;
    const auto scaled = [&](int pixels) { return int(qint64(pixels) * newWidth / oldWidth); };
    return { scaled(margins.left), scaled(margins.right) };
}

FrameRange shownFrames(const RangeMargins &margins, int width, int minFrame, int maxFrame)
{
    return { truncated(frameShare(margins.left, width, maxFrame) + minFrame),
             truncated(maxFrame - frameShare(margins.right, width, maxFrame)) };
}
