/** The current clock, shared by the network and its cameras; it can be replaced at any time. */
#pragma once

#include "core/interruption.h"
#include "sim/clock.h"

#include <algorithm>
#include <memory>
#include <mutex>

namespace sim
{

class NetworkClock
{
public:
    /** Null: the machine's own clock. */
    void Set(std::shared_ptr<Clock> clock)
    {
        const std::lock_guard lock(mutex_);
        clock_ = clock == nullptr ? RealClock() : std::move(clock);
    }
    std::int64_t NowNs() const { return Current()->NowNs(); }
    void SleepUntilNs(std::int64_t whenNs) const { Current()->SleepUntilNs(whenNs); }
    /** Ends early when the host interrupts the cameras. */
    void SleepNs(std::int64_t ns) const
    {
        const auto clock = Current();
        const std::int64_t endNs = clock->NowNs() + ns;
        for (std::int64_t nowNs = clock->NowNs(); nowNs < endNs && !gevplat::Interruption::IsOn();
             nowNs = clock->NowNs()) {
            clock->SleepUntilNs(std::min(endNs, nowNs + gevplat::kLookForInterruptionNs));
        }
    }

private:
    std::shared_ptr<Clock> Current() const
    {
        const std::lock_guard lock(mutex_);
        return clock_;
    }
    mutable std::mutex mutex_;
    std::shared_ptr<Clock> clock_ = RealClock();
};

} // namespace sim
