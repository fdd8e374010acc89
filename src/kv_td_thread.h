/** The only thread calls of the driver. Tests link another kv_td_thread.cpp, which needs no
 *  real-time scheduling and passes time faster. */
#pragma once

#include <cstdint>
#include <pthread.h>

namespace KvTd
{

/** As pthread_create; the attributes are those that were asked for. */
int CreateThread(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                 void* argument);
/** A place where the thread may be cancelled. */
void SleepUs(std::uint32_t us);

} // namespace KvTd
