#include "tests/support/manual_time.h"

#include "kv_td_time.h"

#include <sys/time.h>

namespace KvTd
{

timeval TimeOfDay()
{
    const rig::ManualTime* const manual = rig::ManualTime::current;
    if (manual == nullptr) {
        timeval now{};
        gettimeofday(&now, nullptr);
        return now;
    }
    constexpr std::int64_t kEpochUs = 1'000'000'000'000'000; // the wall clock at the clock's time 0
    const std::int64_t us = kEpochUs + manual->clock->NowNs() / 1000 + manual->wallStepUs;
    return timeval{us / 1'000'000, us % 1'000'000};
}

std::time_t TimeSeconds()
{
    return TimeOfDay().tv_sec;
}

} // namespace KvTd
