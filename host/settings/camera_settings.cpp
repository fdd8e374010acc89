#include "settings/camera_settings.h"

#include "cameras/open_camera.h"
#include "settings/feature_reader.h"

namespace kvgrab
{

std::vector<JudgedSetting> JudgeOpenCamera(const Config& config)
{
    const GenApi::CNodeMapRef* const map = OpenNodeMap();
    if (map == nullptr) {
        return {};
    }
    FeatureReader reader(*map, true);
    return JudgeSettings(
        PlannedSettings(config),
        [&reader](const FeatureRef& feature, Look look) { return reader.Read(feature, look); },
        Moment::After);
}

float RateOfOpenCamera()
{
    const GenApi::CNodeMapRef* const map = OpenNodeMap();
    if (map == nullptr) {
        return KvTd::kFpsUnset;
    }
    const FeatureFacts rate =
        FeatureReader(*map, false).Read({.name = "AcquisitionFrameRate"}, Look::Everything);
    constexpr double kAtLimit = 1 - 1e-6;
    const bool known = rate.trouble.empty() && rate.writable && rate.value && rate.min && rate.max;
    return known && *rate.value > 0 && *rate.value >= *rate.min &&
                   *rate.value < *rate.max * kAtLimit
               ? static_cast<float>(*rate.value)
               : KvTd::kFpsUnset;
}

} // namespace kvgrab
