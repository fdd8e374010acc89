/** The driver's clock calls, answered by the system's clock. */
#include "kv_td_time.h"

namespace KvTd
{

timeval TimeOfDay()
{
    timeval now{};
    gettimeofday(&now, nullptr);
    return now;
}

std::time_t TimeSeconds()
{
    return time(nullptr);
}

} // namespace KvTd
