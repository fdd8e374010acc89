/** How kvgrab ends when something is wrong. */
#pragma once

#include "exit_status.h"

#include <string_view>

namespace kvgrab
{

/** Prints the reason, one sentence, on standard error. Returns the status to end with. */
ExitStatus Fail(ExitStatus status, std::string_view why);

} // namespace kvgrab
