/** Generates a camera's description in the form of GenICam. */
#pragma once

#include "tools/kvcam/features/register_map.h"

#include "sim/camera/camera_model.h"

#include <string>

namespace kvcam
{

std::string DescribeFeatures(sim::CameraModel& camera, const RegisterMap& map);

} // namespace kvcam
