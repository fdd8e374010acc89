/** Reads what a camera has. */
#pragma once

#include "cameras/feature_table.h"

#include "gen_api.h"

#include <vector>

namespace kvgrab
{

/** All features of a camera, in its order. The row of one that can't be read says why. */
std::vector<FeatureRow> ReadFeatures(const GenApi::CNodeMapRef& map);

} // namespace kvgrab
