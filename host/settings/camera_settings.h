/** The settings of the camera that the driver has open. Grab thread. */
#pragma once

#include "config/config.h"
#include "settings/judgement.h"

namespace kvgrab
{

/** Compares what the configuration requests with what the open camera has. Nothing while no camera
 *  is open. Reads each feature once; selectors are put back. */
std::vector<JudgedSetting> JudgeOpenCamera(const Config& config);

/** The rate that the driver can set again without changing anything. kFpsUnset while that isn't
 *  known: no camera is open, the rate can't be read, or exposure time, read-out or link limit it to
 *  less than the camera was set to. */
float RateOfOpenCamera();

} // namespace kvgrab
