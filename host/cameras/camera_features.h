/** Reads what a camera has. */
#pragma once

#include "cameras/feature_table.h"

#include "gen_api.h"

#include <vector>

namespace kvgrab
{

/** All features of a camera, in its order. What can't be read says why in its own row. */
std::vector<FeatureRow> ReadFeatures(const GenApi::CNodeMapRef& map);

} // namespace kvgrab
