#pragma once

#include "layers/LayerData.h"

/// The frame of a time in seconds: seconds × fps + 0.5 rounded down, in double precision. Below
/// zero cutting the fraction off would give each time the frame after its own, and frames -1 and 0
/// one frame. Held inside int for times that no int frame can name; 0 for NaN.
int frameAtTime(double seconds, double framesPerSecond);

/// Sorts ascending by time, stably, so that an index taken before still names the same key among
/// keys of one time.
void sortKeys(std::vector<LayerKey> &keys);

/// The envelope at an integer frame: 1 without keys, a key's own value on its frame (the first in
/// sorted order), linear between two keys, held beyond the ends. Sorts `keys`.
float layerWeight(std::vector<LayerKey> &keys, int frame, double framesPerSecond);
