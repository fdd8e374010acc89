#include "config/overruled_features.h"

#include <algorithm>
#include <fmt/format.h>

namespace kvgrab
{

namespace
{

/** A feature that the driver sets, and the key that it sets it by. */
struct Overruling {
    const char* feature;
    const char* key;
    bool applies;
};

} // namespace

std::vector<std::string> FeaturesOverruled(const Config& config)
{
    const RegionConfig& region = config.region;
    const bool exposureMode = config.exposure.mode != KvTd::kSweepUnset;
    const bool gainMode = config.gain.mode != KvTd::kSweepUnset;
    const bool exposureTime = config.exposure.timeUs != KvTd::kExposureUnset;
    const bool exposureLimits = config.exposure.autoMinUs != KvTd::kExposureUnset;
    const bool gainLimits = config.gain.autoMinDb != KvTd::kGainUnset;
    const bool rotate = config.image.rotate != KvTd::kRotateUnset;
    const bool table = config.lut.mode != KvTd::kSweepUnset;
    const bool gamma = config.gamma.value != KvTd::kGammaUnset;
    const bool color = config.image.format == KvTd::kFormatYuv422;
    const bool profile = config.automatic.profile == 1;
    const Overruling rows[] = {
        {"PixelFormat", "image.format", true},
        {"GevSCPSPacketSize", "stream.packet_size", true},
        {"Width", "region.width", region.width != KvTd::kIntUnset},
        {"Height", "region.height", region.height != KvTd::kIntUnset},
        {"OffsetX", "region.offset_x", region.offsetX != KvTd::kIntUnset},
        {"OffsetY", "region.offset_y", region.offsetY != KvTd::kIntUnset},
        {"ReverseX", "image.rotate", rotate},
        {"ReverseY", "image.rotate", rotate},
        {"AcquisitionFrameRate", "timing.fps", config.timing.fps != KvTd::kFpsUnset},
        {"ExposureTime", "exposure.time_us", exposureTime},
        {"ExposureAuto", "exposure.mode", exposureMode},
        {"exposureAutoMinValue", "exposure.auto_min_us", exposureLimits},
        {"exposureAutoMaxValue", "exposure.auto_max_us", exposureLimits},
        {"Gain", "gain.db", config.gain.db != KvTd::kGainUnset},
        {"GainAuto", "gain.mode", gainMode},
        {"gainAutoMinValue", "gain.auto_min_db", gainLimits},
        {"gainAutoMaxValue", "gain.auto_max_db", gainLimits},
        {"autoBrightnessMode", "auto.brightness_control", profile},
        {"autoBrightnessTarget", "auto.brightness",
         config.automatic.brightness != KvTd::kExposureUnset},
        {"BalanceWhiteAuto", "white_balance.red", color},
        {"BalanceRatio", "white_balance.red", color && config.whiteBalance.red != KvTd::kIntUnset},
        {"lutMode", table ? "lut.mode" : "gamma.value", table || gamma},
        {"lutType", table ? "lut.mode" : "gamma.value", table || gamma},
        {"LUTValue", "lut.mode", table},
        {"gammaCorrection", "gamma.value", gamma},
    };
    std::vector<std::string> warnings;
    for (const FeatureSetting& setting : config.features) {
        const auto row = std::find_if(std::begin(rows), std::end(rows), [&](const Overruling& r) {
            return r.applies && setting.name.feature == r.feature;
        });
        // What is set for one position of a selector may be another value than the driver's.
        if (row != std::end(rows) && setting.name.selected.empty()) {
            warnings.push_back(fmt::format("{}: features.{} has no effect: the driver sets the "
                                           "feature afterwards; configure {} instead",
                                           setting.where, setting.name.Text(), row->key));
        }
    }
    return warnings;
}

} // namespace kvgrab
