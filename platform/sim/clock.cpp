#include "sim/clock.h"

#include <algorithm>
#include <ctime>
#include <mutex>

namespace sim
{

namespace
{

constexpr std::int64_t kNsPerSecond = 1'000'000'000;

class MonotonicClock : public Clock
{
public:
    std::int64_t NowNs() override
    {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        return std::int64_t{now.tv_sec} * kNsPerSecond + now.tv_nsec;
    }
    void SleepUntilNs(std::int64_t whenNs) override
    {
        const timespec when{.tv_sec = whenNs / kNsPerSecond, .tv_nsec = whenNs % kNsPerSecond};
        while (NowNs() < whenNs) { // a signal ends the sleep early
            clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &when, nullptr);
        }
    }
};

} // namespace

Clock::~Clock() = default;

std::shared_ptr<Clock> RealClock()
{
    static const auto clock = std::make_shared<MonotonicClock>();
    return clock;
}

struct ManualClock::State {
    std::mutex mutex;
    std::int64_t nowNs = 0;
};

ManualClock::ManualClock(std::int64_t startNs) : state_(std::make_unique<State>())
{
    state_->nowNs = startNs;
}

ManualClock::~ManualClock() = default;

std::int64_t ManualClock::NowNs()
{
    const std::lock_guard lock(state_->mutex);
    return state_->nowNs;
}

void ManualClock::SleepUntilNs(std::int64_t whenNs)
{
    const std::lock_guard lock(state_->mutex);
    state_->nowNs = std::max(state_->nowNs, whenNs);
}

void ManualClock::AdvanceNs(std::int64_t ns)
{
    const std::lock_guard lock(state_->mutex);
    state_->nowNs += ns;
}

} // namespace sim
