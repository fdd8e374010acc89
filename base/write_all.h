/** Writes all bytes, however many calls that takes. */
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace base
{

/** Returns 0 or an error number as in errno; what was written before an error stays. Continues
 *  after a signal. A file that accepts no byte counts as full (ENOSPC). */
int WriteAll(int fd, std::span<const std::uint8_t> bytes);
int WriteAll(int fd, std::string_view text);

/** Writes a last short text unless that would block, as at a terminal that was stopped or a pipe
 *  that nobody reads. Async-signal-safe. */
void WriteUnlessBlocked(int fd, std::string_view text) noexcept;

} // namespace base
