#pragma once

/// What an archive tells about its rate, in frames and samples per second.
struct RateEvidence {
    double hint = 0.0; ///< what the writing program noted; 0 or less, or no number: nothing
    double sampled = 0.0; ///< cycles of the sampling that most of the animation uses; 0: none
    double firstSecond = 0.0; ///< of all samples
    double lastSecond = 0.0;
};

constexpr double kDefaultFrameRate = 24.0;

/// The rate at which frames are to be counted: the hint, else the samples' rate, else the default.
///
/// A rate above 60 that is a whole multiple of 24, 25, 30 or 60 is one of sub-frame samples and
/// becomes the first of these that fits. Outside 1 to 240 the default stands.
///
/// A hint may be the samples' own rate with few digits. It stays as given where every sample still
/// falls on its own frame; where frames would show a neighbour by the end of the shot (23.98 over
/// samples of 24000/1001 shows the first sample twice), the samples' rate stands.
double frameRate(const RateEvidence &evidence);
