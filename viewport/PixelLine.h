#pragma once

#include <QPoint>

#include <vector>

/// The pixels from one to the other, both ends included, in order. The longer axis steps once a
/// pixel (a 45° line runs along x); where the line passes exactly between two pixels it takes the
/// farther one only when it runs in the positive direction of that axis.
std::vector<QPoint> pixelLine(const QPoint &from, const QPoint &to);

/// Pixels between two stamps of a stroke: 0.15 of the radius. The radius deliberately counts as 50
/// at most, so that large brushes stamp as densely as one of 50 pixels.
double stampSpacing(int radius);

/// The pixels of the line that become stamps, in order: each one farther than `spacing` from the
/// last stamp, which it replaces in `lastStamp`.
std::vector<QPoint> stampsAlong(const std::vector<QPoint> &line, double spacing, QPoint &lastStamp);
