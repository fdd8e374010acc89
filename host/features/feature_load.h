/** Brings a camera to the settings of a file, whatever their order. */
#pragma once

#include "features/feature_access.h"
#include "features/feature_setting.h"

#include <string>
#include <vector>

namespace kvgrab
{

/** What became of the settings. */
struct LoadResult {
    std::size_t set = 0;
    std::size_t unchanged = 0;        ///< the camera had the value already
    std::vector<std::string> rounded; ///< with place: what the camera has in place of a value
    std::vector<std::string> failed;  ///< with place and reason
    bool cameraFailed = false;        ///< it doesn't answer; what follows is not set
};

/** Sets the values in their order. One that is refused, or that a later one changes, is tried again
 *  after the others, as long as that brings more of them about: a width fits only once the offset
 *  is small enough. Never throws. */
LoadResult LoadFeatures(const FeatureAccess& access, const std::vector<FeatureSetting>& settings);

} // namespace kvgrab
