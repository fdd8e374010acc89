/** How far the host's real-time clock is from its monotonic one, and whether it was set. */
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

namespace kvgrab
{

/** One thread. */
class HostClock
{
public:
    using Clock = std::function<std::int64_t()>; ///< nanoseconds

    HostClock(Clock monotonic, Clock wall)
        : monotonic_(std::move(monotonic)), wall_(std::move(wall))
    {
    }

    struct Reading {
        std::int64_t monotonicNs = 0;
        std::int64_t offsetNs = 0; ///< real time less monotonic time
        std::int64_t setByNs = 0;  ///< how far the real-time clock was set since the last reading
    };
    Reading Read();

private:
    const Clock monotonic_;
    const Clock wall_;
    std::optional<std::int64_t> offsetNs_;
};

} // namespace kvgrab
