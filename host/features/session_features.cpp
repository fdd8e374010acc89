#include "features/session_features.h"

#include "cameras/open_camera.h"
#include "features/feature_access.h"

#include <fmt/format.h>

namespace kvgrab
{

void SessionFeatures::Apply(const std::vector<FeatureSetting>& settings)
{
    set_ = 0;
    notSet_ = settings.size();
    if (settings.empty()) {
        return;
    }
    const GenApi::CNodeMapRef* const map = OpenNodeMap();
    if (map == nullptr) {
        log_.Line(2, "the features of the configuration are not set: the camera gives no "
                     "description of its features");
        return;
    }
    const FeatureAccess access(*map);
    for (const FeatureSetting& setting : settings) {
        const Outcome outcome = access.Set(setting.name, setting.value);
        if (outcome.Ok()) {
            ++set_;
            log_.Line(4, fmt::format("{} = {}", setting.name.Text(), outcome.text));
            continue;
        }
        log_.Line(2, fmt::format("{}: {}", setting.where, outcome.text));
        if (outcome.kind == Outcome::Kind::CameraFailed) {
            break;
        }
    }
    notSet_ = settings.size() - set_;
    log_.Line(notSet_ == 0 ? 3 : 2,
              fmt::format("features of the configuration: {} set, {} not set", set_, notSet_));
}

std::string SessionFeatures::Summary() const
{
    return set_ + notSet_ == 0 ? "" : fmt::format("features: {} set, {} not set\n", set_, notSet_);
}

} // namespace kvgrab
