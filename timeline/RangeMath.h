#pragma once

#include "timeline/RulerMath.h"

/// The empty pixels left and right of the range slider's bar.
struct RangeMargins {
    int left = 0;
    int right = 0;

    bool operator==(const RangeMargins &other) const = default;
};

/// How far one end of a bar may move inwards when `wanted` pixels are asked for: a bar never gets
/// narrower than `minimumWidth` by a drag.
int shrinkLimit(int barWidth, int minimumWidth, int wanted);

/// The margins after the pointer moved by dx pixels with the left end, the right end or the body of
/// the bar held. What a limit cuts off is lost, not stored for later moves. The end drags take the
/// limit of an inward move from `barWidth` and `minimumWidth`.
RangeMargins dragLeftEnd(RangeMargins margins, int dx, int barWidth, int minimumWidth);
RangeMargins dragRightEnd(RangeMargins margins, int dx, int barWidth, int minimumWidth);
RangeMargins dragBody(RangeMargins margins, int dx);

/// The margins of a strip that went from one width to another; unchanged from width 0 or less.
RangeMargins scaledMargins(const RangeMargins &margins, int oldWidth, int newWidth);

/// The frames to show. Both margins are scaled by the last frame, not by the shot's length:
/// deliberate, so a shot that begins away from 0 is shown shifted. The result may begin after its
/// end (see FrameRange); width 0 shows the whole shot.
FrameRange shownFrames(const RangeMargins &margins, int width, int minFrame, int maxFrame);
