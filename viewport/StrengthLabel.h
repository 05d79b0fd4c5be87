#pragma once

#include <QString>

/// The brush strength as the overlay shows it: up to six significant digits; below 1 padded and cut
/// (not rounded) to two decimals, and exactly 0 as "0".
QString strengthLabel(float strength);
