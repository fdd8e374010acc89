/** Writes all bytes, however many calls that takes. */
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace base
{

/** 0 or an error number (errno's); what was written before an error stays. Goes on when a signal
 *  interrupts it; a file that takes nothing counts as full (ENOSPC). */
int WriteAll(int fd, std::span<const std::uint8_t> bytes);
int WriteAll(int fd, std::string_view text);

} // namespace base
