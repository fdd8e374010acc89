/** The commands of kvgrab that read and change features: get, set, execute and features. */
#pragma once

#include "config/options.h"
#include "exit_status.h"
#include "features/feature_setting.h"

#include "gen_api.h"

#include <string>
#include <vector>

namespace kvgrab
{

/** What the command line asks of the features, checked before a camera is touched. */
struct FeatureRequest {
    std::vector<FeatureName> names;       ///< get; execute has one
    std::vector<FeatureSetting> settings; ///< set, or the file of --load
};

/** False: `*status` says with what to end, and the reason has been printed. */
bool ReadFeatureRequest(const Options& options, FeatureRequest* request, ExitStatus* status);

/** Runs the command of the options on an open camera; `camera` names it. */
ExitStatus RunFeatureCommand(const Options& options, const FeatureRequest& request,
                             const GenApi::CNodeMapRef& map, const std::string& camera);

} // namespace kvgrab
