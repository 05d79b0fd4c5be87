#include "alembic/FrameRate.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kQuotientRounding = 1e-9; ///< relative; a rate is one divided by a stored number
constexpr double kStoredRounding = 1e-6; ///< relative, of one stored in single precision
constexpr double kSameRate = 5e-4; ///< relative; 24 and 23.976 are twice as far apart
constexpr double kLookUpTolerance = 1e-4; ///< of the sample look-up, in samples

bool isWhole(double number, double rounding)
{
    return std::abs(number - std::round(number)) <= rounding * number;
}

/// Whether each frame of `rate` shows the sample of its own number, up to a time.
bool keepsStep(double rate, double sampled, double seconds)
{
    const double samples = sampled * seconds;
    const double drift = samples * (sampled / rate - 1.0);
    return drift > -kLookUpTolerance && drift < 0.5; // from there on the sample's frame rounds down
}

/// The hint, or the samples' rate that it was rounded from.
double sharpened(const RateEvidence &evidence)
{
    const double steps = std::max(std::round(evidence.sampled / evidence.hint), 1.0);
    const double own = evidence.sampled / steps;
    const bool same = std::abs(evidence.hint - own) < kSameRate * own;
    const bool inStep = keepsStep(evidence.hint, own, evidence.firstSecond) &&
        keepsStep(evidence.hint, own, evidence.lastSecond);
    return same && !inStep ? own : evidence.hint;
}

double withoutSubFrames(double rate)
{
    for (const double base : { 24.0, 25.0, 30.0, 60.0 }) {
        if (rate > 60.0 && isWhole(rate / base, kStoredRounding))
            return base;
    }
    return isWhole(rate, kQuotientRounding) ? std::round(rate) : rate;
}

} // namespace

double frameRate(const RateEvidence &evidence)
{
    const double rate =
        withoutSubFrames(evidence.hint > 0.0 ? sharpened(evidence) : evidence.sampled);
    return rate >= 1.0 && rate <= 240.0 ? rate : kDefaultFrameRate; // a NaN too
}
