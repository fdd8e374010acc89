/** The set-up of a camera that plays a recording back. */
#pragma once

#include "sim/replay/recording.h"
#include "sim_control.h"

namespace sim
{

/** `setup` with model, size, pixel format, pace and tick frequency of the recording. Values at
 *  power-up that `setup` has of its own come after those. */
CameraSetup ReplaySetup(CameraSetup setup, const Recording& recording);

} // namespace sim
