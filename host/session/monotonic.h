/** The monotonic clock. */
#pragma once

#include <cstdint>
#include <ctime>

namespace kvgrab
{

/** In nanoseconds. Async-signal-safe. */
inline std::int64_t MonotonicNs() noexcept
{
    constexpr std::int64_t kNsPerS = 1'000'000'000;
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kNsPerS + now.tv_nsec;
}

} // namespace kvgrab
