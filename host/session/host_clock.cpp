#include "session/host_clock.h"

#include <cstdlib>

namespace kvgrab
{

HostClock::Reading HostClock::Read()
{
    constexpr std::int64_t kReadAtOnceNs = 20'000; ///< the thread was not interrupted in between
    constexpr std::int64_t kSetNs = 1'000'000; ///< far more than a clock is slewed by in a second
    constexpr int kTries = 3;
    Reading reading;
    for (int i = 0; i < kTries; ++i) {
        const std::int64_t beforeNs = monotonic_();
        const std::int64_t wallNs = wall_();
        reading.monotonicNs = monotonic_();
        if (offsetNs_ && reading.monotonicNs - beforeNs > kReadAtOnceNs) {
            continue;
        }
        const std::int64_t offsetNs = wallNs - (beforeNs + (reading.monotonicNs - beforeNs) / 2);
        const std::int64_t changeNs = offsetNs_ ? offsetNs - *offsetNs_ : 0;
        reading.setByNs = std::abs(changeNs) > kSetNs ? changeNs : 0;
        offsetNs_ = offsetNs;
        break;
    }
    reading.offsetNs = *offsetNs_;
    return reading;
}

} // namespace kvgrab
