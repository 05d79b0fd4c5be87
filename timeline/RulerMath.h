#pragma once

#include "layers/LayerData.h"

#include <QPainterPath>
#include <QPoint>
#include <QRect>
#include <QSize>

#include <vector>

/// The first and the last of the frames that the ruler shows. Where the last lies before the first
/// (a shifted range slider does that), every function here takes the range as the one frame
/// `start`.
struct FrameRange {
    int start = 0;
    int end = 24;
};

/// A pointer position in the ruler's units: frames right of the range's start, and a key value that
/// is 0 at the lower edge and 1 at the upper one.
struct RulerPoint {
    double frameOffset = 0.0;
    float value = 0.0f;
};

/// `number` without its fraction, held inside int; 0 for NaN.
int truncated(double number);

int lastFrame(const FrameRange &range);
qint64 frameCount(const FrameRange &range); ///< at least 1

/// `widget` is the ruler's size in pixels; width and height 0 count as 1.
RulerPoint rulerPoint(const QPoint &pixel, const QSize &widget, const FrameRange &range);
/// The frame under a position, also outside the range.
int frameUnder(const RulerPoint &point, const FrameRange &range);
int clampedFrame(int frame, const FrameRange &range);

float pixelsPerFrame(int width, const FrameRange &range);
int markerWidth(float pixelsPerFrame); ///< whole pixels, at least 2
/// The pixels that mark `frame`; outside the widget for a frame outside the range.
QRect markerRect(int frame, const QSize &widget, const FrameRange &range);
/// The pixel columns of the frame ticks. A range with more frames than columns gets one tick per
/// column at most twice over, so that painting costs no more than the widget is wide.
std::vector<int> tickColumns(int width, const FrameRange &range);

/// Where a key's dot stands, in pixels; held within a few thousand pixels above and below the
/// widget.
QPointF keyPoint(const LayerKey &key, double framesPerSecond, const QSize &widget,
                 const FrameRange &range);
/// The flat-tangent ease between two keys: both control points at the horizontal middle. Of a curve
/// far longer than the widget only the part over columns -margin to width + margin is given, since
/// a dotted line is paid for by its length; empty when no part is there.
QPainterPath keyCurve(const QPointF &from, const QPointF &to, int width);

/// The first or last key in list order that lies on `frame`, -1 without one.
int firstKeyAt(const std::vector<LayerKey> &keys, int frame, double framesPerSecond);
int lastKeyAt(const std::vector<LayerKey> &keys, int frame, double framesPerSecond);
/// Appends (deliberately without sorting) a key on `frame`; false, with nothing changed, where the
/// frame has one already.
bool addKey(std::vector<LayerKey> &keys, int frame, float value, double framesPerSecond);
/// Removes the last key in list order that lies on `frame`; false without one.
bool removeKey(std::vector<LayerKey> &keys, int frame, double framesPerSecond);
/// Sorts the keys and returns where key `index` went, so that a drag begun on an appended key keeps
/// it when the painter or the envelope sorts; -1 for an index outside the list.
int sortKeysAround(std::vector<LayerKey> &keys, int index);
float draggedValue(float value, float change); ///< the sum, held inside 0 to 1

/// Stepping back stops at the range's start, stepping forward wraps to it: a deliberate asymmetry.
int previousFrame(int current, const FrameRange &range);
int nextFrame(int current, const FrameRange &range);
int playInterval(double framesPerSecond); ///< milliseconds per frame, rounded down
