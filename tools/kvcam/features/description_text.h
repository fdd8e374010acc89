/** Generates a camera's description in the form of GenICam. */
#pragma once

#include "tools/kvcam/features/register_map.h"

#include "sim/camera/camera_model.h"

#include <string>

namespace kvcam
{

/** The text, in whole words: blank lines fill up the last one. */
std::string DescribeFeatures(sim::CameraModel& camera, const RegisterMap& map);

} // namespace kvcam
