/** Reads what a camera has. */
#pragma once

#include "cameras/feature_table.h"

#include "gen_api.h"

#include <vector>

namespace kvgrab
{

/** If the feature can't be read, its row says why. */
FeatureRow ReadFeature(GenApi::INode& node);

/** All features of a camera, in its order. */
std::vector<FeatureRow> ReadFeatures(const GenApi::CNodeMapRef& map);

} // namespace kvgrab
