#include "layers/Envelope.h"

#include <algorithm>
#include <cmath>
#include <limits>

int frameAtTime(double seconds, double framesPerSecond)
{
    constexpr double lowest = std::numeric_limits<int>::min();
    constexpr double highest = std::numeric_limits<int>::max();
    const double frame = std::floor(framesPerSecond * seconds + 0.5);
    return std::isnan(frame) ? 0 : int(std::clamp(frame, lowest, highest));
}

void sortKeys(std::vector<LayerKey> &keys)
{
    // A NaN time, which only a damaged scene brings, goes last: plain < over NaN is no order.
    std::stable_sort(keys.begin(), keys.end(), [](const LayerKey &a, const LayerKey &b) {
        return a.time < b.time || (std::isnan(b.time) && !std::isnan(a.time));
    });
}

float layerWeight(std::vector<LayerKey> &keys, int frame, double framesPerSecond)
{
    if (keys.empty())
        return 1.0f;
    sortKeys(keys);

    const auto frameOf = [&](const LayerKey &key) {
        return frameAtTime(key.time, framesPerSecond);
    };
    for (const LayerKey &key : keys) {
        if (frameOf(key) == frame)
            return key.value;
    }
    for (size_t i = 0; i + 1 < keys.size(); ++i) {
        const int start = frameOf(keys[i]);
        const int end = frameOf(keys[i + 1]);
        if (start < frame && frame < end) {
            // Subtracted in 64 bits: frames of a damaged scene can lie farther apart than int
            // holds.
            const float ratio = float(qint64(frame) - start) / float(qint64(end) - start);
            return keys[i].value + ratio * (keys[i + 1].value - keys[i].value);
        }
    }
    return frame < frameOf(keys.front()) ? keys.front().value : keys.back().value;
}
