#include "sim/camera/automatic_functions.h"

#include "sim/camera/timing.h"

#include <algorithm>

namespace sim
{

namespace
{

/** A setting with the tighter ones of the user's limits and the feature's own. */
AutoControl Control(double value, const genapi::FloatNode& feature, const genapi::FloatNode& lowest,
                    const genapi::FloatNode& highest, bool automatic)
{
    return {.value = value,
            .min = std::max(feature.Min(), lowest.Value()),
            .max = std::min(feature.Max(), highest.Value()),
            .automatic = automatic};
}

} // namespace

bool AutomaticFunctions::BalanceIsDue(std::int64_t startNs) const
{
    const WhiteBalanceFeatures& balance = features_.whiteBalance;
    if (balance.mode == nullptr || balance.mode->Symbolic() != "Periodic") {
        return false;
    }
    const double periodUs = 1e6 * static_cast<double>(balance.period->Value());
    return balance.asked != balancesAsked_ || startNs - balancedNs_ >= ClockNs(periodUs, driftPpm_);
}

void AutomaticFunctions::BeforeExposure(std::int64_t startNs, PictureJob* job)
{
    if (!BalanceIsDue(startNs)) {
        return;
    }
    const WhiteBalanceFeatures& balance = features_.whiteBalance;
    balancesAsked_ = balance.asked;
    balancedNs_ = startNs;
    const PictureLevels levels = scene_.Measure(*job);
    const auto reference = static_cast<std::size_t>(balance.reference->Value());
    const double grey = levels.light[reference] * balance.ratio->At(reference);
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        const double light = levels.light[channel];
        if (channel == reference || !(grey > 0) || !(light > 0)) { // no light: no ratio
            continue;
        }
        const double ratio = std::clamp(grey / light, balance.ratio->Min(), balance.ratio->Max());
        balance.ratio->StoreAt(channel, ratio);
        job->balance[channel] = ratio;
    }
}

void AutomaticFunctions::AfterExposure(const PictureJob& job)
{
    const BrightnessFeatures& brightness = features_.brightness;
    const bool exposureAuto = brightness.ExposureRegulated();
    const bool gainAuto = brightness.GainRegulated();
    if (!exposureAuto && !gainAuto) {
        brightness_ = {};
        return;
    }
    const std::size_t source = brightness.gainSource->Position();
    genapi::FloatNode& exposure = *features_.exposureTime;
    genapi::FloatNode& gain = *features_.gain;
    const AutoBrightness::Setting next = brightness_.Next(
        {.mean = scene_.Measure(job).mean,
         .target = static_cast<double>(brightness.target->Value()),
         .exposure = Control(job.exposureUs, exposure, *brightness.exposureMin,
                             *brightness.exposureMax, exposureAuto),
         .gain = Control(gain.At(source), gain, *brightness.gainMin, *brightness.gainMax, gainAuto),
         .gainFirst = brightness.sequence->Symbolic() == "Gain_Exposure_Iris"});
    if (exposureAuto) {
        exposure.StoreAt(0, next.exposureUs);
    }
    if (gainAuto) {
        gain.StoreAt(source, next.gain);
    }
}

} // namespace sim
