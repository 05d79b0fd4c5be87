#pragma once

/// The before/after wipe's place in normalised device x, application-wide: -1 at the view's left
/// edge, 1 at its right one.
namespace CompareSplit {
inline constexpr float kOff = -1000.0f;
/// Everything down from -999 counts as off, whoever set it.
constexpr bool isOn(float split) { return split > -999.0f; }
}
