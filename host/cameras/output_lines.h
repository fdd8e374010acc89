/** Whether the camera can do what the IO-box sets ask of its output lines. The driver's second
 *  thread ends the process when a feature is missing; so it is found out beforehand. */
#pragma once

#include "config/config.h"

#include <string>

namespace kvgrab
{

/** Opens the camera that the driver will choose and looks at its line features; leaves them as they
 *  were. Empty: it has what the sets need, or there is nothing to look at: no such set, no camera,
 *  or one that can't be opened. Else what is missing, as a sentence without a full stop. */
std::string WhyLinesCannotBeDriven(const Config& config);

} // namespace kvgrab
