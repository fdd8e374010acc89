/** Features of the table [features] that another key of the configuration sets as well. Pure. */
#pragma once

#include "config/config.h"

#include <string>
#include <vector>

namespace kvgrab
{

/** A warning for each feature that the driver sets after the table was applied, with its place and
 *  the key that decides. */
std::vector<std::string> FeaturesOverruled(const Config& config);

} // namespace kvgrab
