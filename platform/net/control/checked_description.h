/** Reads a camera's description before the network library does, and finds what the library can't
 *  stand. */
#pragma once

#include "net/control/control_channel.h"

#include <string>

namespace net
{

/** The text; `*fault` says what is wrong with it and names the description. Ends early when the
 *  host interrupts the cameras, or the camera falls silent. */
std::string ReadDescription(ControlChannel& channel, std::string* fault);

} // namespace net
