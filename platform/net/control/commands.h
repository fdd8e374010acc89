/** Commands that a session executes itself, without their nodes: neither counted nor recorded. */
#pragma once

#include "net/control/device.h"

namespace net
{

/** Runs a command of the camera and returns when the camera acknowledged it. Raises what a write of
 *  a feature raises (gen_api.h); LogicalErrorException when there is no such command. */
void ExecuteCommand(Device& device, const char* name);

} // namespace net
