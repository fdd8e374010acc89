#include "sim/camera/auto_brightness.h"

#include <algorithm>
#include <cmath>

namespace sim
{

namespace
{

constexpr double kLargestStep = 0.6931471805599453; // factor 2
constexpr double kShare = 0.8;       // part of the error that is corrected with each frame
constexpr double kGoodEnough = 0.01; // errors below this are not corrected
constexpr double kDarkest = 0.5;     // darker means count as this: the logarithm needs a floor

/** The order of the comparisons turns a NaN into the lower limit. */
double Within(double value, double min, double max)
{
    return std::max(std::min(min, max), std::min(max, std::max(min, value)));
}

double Start(const AutoControl& control)
{
    return control.automatic ? Within(control.value, control.min, control.max) : control.value;
}

} // namespace

double AutoBrightness::Step(double target, double mean, double strength)
{
    const double brightness = std::log(std::max(kDarkest, mean));
    const double error = std::log(std::max(kDarkest, target)) - brightness;
    constexpr double kMoved = 0.1;    // the answer to a smaller step drowns in the scene's changes
    constexpr double kWeakest = 0.35; // bounds of a plausible answer
    constexpr double kWeakestDown = 0.5;
    constexpr double kStrongest = 4;
    if (known_) {
        const double moved = strength - strength_;
        if (std::abs(moved) > kMoved) {
            answer_ = std::clamp((brightness - brightness_) / moved, kWeakest, kStrongest);
        }
        const bool overshot = error * error_ < 0 && std::abs(error) > 3 * kGoodEnough;
        caution_ = overshot ? std::max(0.2, caution_ / 2) : std::min(1.0, caution_ * 1.25);
    }
    known_ = true;
    error_ = error;
    brightness_ = brightness;
    strength_ = strength;
    if (std::abs(error) < kGoodEnough) {
        return 0;
    }
    // Clipped highlights hardly answer until the picture gets darker, so a weak answer must not
    // cause a large step downwards.
    const double answer = error < 0 ? std::max(answer_, kWeakestDown) : answer_;
    return std::clamp(kShare * caution_ * error / answer, -kLargestStep, kLargestStep);
}

AutoBrightness::Setting AutoBrightness::Next(const AutoBrightnessInput& now)
{
    const double exposure = Start(now.exposure);
    const double gain = Start(now.gain);
    const double strength = std::log(now.exposure.value * now.gain.value);
    const double factor = std::exp(Step(now.target, now.mean, strength));
    if (!now.gain.automatic || !now.exposure.automatic) {
        const auto moved = [factor](const AutoControl& control, double value) {
            return control.automatic ? Within(value * factor, control.min, control.max) : value;
        };
        return {moved(now.exposure, exposure), moved(now.gain, gain)};
    }
    const double product = exposure * gain * factor;
    const auto share = [product](const AutoControl& first, double start, const AutoControl& second,
                                 double* secondValue) {
        // The first takes as much of the product as it can while the second goes down to its lower
        // limit, both by limited steps.
        const double wanted = product / std::min(second.min, second.max);
        const double near = std::clamp(wanted, start / 2, start * 2);
        const double value = Within(near, first.min, first.max);
        *secondValue = Within(product / value, second.min, second.max);
        return value;
    };
    Setting next{exposure, gain};
    if (now.gainFirst) {
        next.gain = share(now.gain, gain, now.exposure, &next.exposureUs);
    } else {
        next.exposureUs = share(now.exposure, exposure, now.gain, &next.gain);
    }
    return next;
}

} // namespace sim
