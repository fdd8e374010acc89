/** Whether the camera can do what the IO-box sets ask of its output lines. The driver's second
 *  thread ends the process when a feature is missing, so kvgrab checks beforehand. */
#pragma once

#include "config/config.h"

#include <string>

namespace kvgrab
{

/** Opens the camera that the driver will choose and checks its line features, without a lasting
 *  change. The result is empty if it has what the sets need, or if there is nothing to check: no
 *  such set, no camera, or one that can't be opened. Otherwise it says what is missing, as a
 *  sentence without a full stop. */
std::string CheckOutputLines(const Config& config);

} // namespace kvgrab
