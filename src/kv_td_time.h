/** The only clock calls of the grab thread. Tests link another kv_td_time.cpp and drive the driver
 *  and the simulated camera from one manual clock. */
#pragma once

#include <ctime>
#include <sys/time.h>

namespace KvTd
{

/** Wall-clock time. */
timeval TimeOfDay();
/** Seconds since the epoch. */
std::time_t TimeSeconds();

} // namespace KvTd
