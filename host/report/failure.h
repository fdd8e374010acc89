/** How kvgrab ends when something is wrong. */
#pragma once

#include "exit_status.h"

#include <cstdio>
#include <fmt/format.h>
#include <string>
#include <string_view>

namespace kvgrab
{

/** Prints the reason, one sentence, on standard error. Returns the status to end with. */
inline ExitStatus Fail(ExitStatus status, std::string_view why)
{
    const std::string sentence = fmt::format("kvgrab: {}{}\n", why, why.ends_with('.') ? "" : ".");
    std::fputs(sentence.c_str(), stderr);
    return status;
}

} // namespace kvgrab
