/** The part of a description that a camera has only on the network: acquisition, the registers of
 *  GigE Vision that clients ask for, and the values in the chunks of a frame. */
#pragma once

#include "sim/camera/camera_features.h"

#include <string>
#include <utility>
#include <vector>

namespace kvcam
{

struct WireFeatures {
    std::string elements;
    /** Category and name. */
    std::vector<std::pair<std::string, std::string>> names;
};

/** The chunks are those that the camera shows. */
WireFeatures DescribeWireFeatures(sim::CameraFeatures& features);

} // namespace kvcam
