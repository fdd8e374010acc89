/** The driver's thread calls, made with POSIX threads. */
#include "kv_td_thread.h"

#include <unistd.h>

namespace KvTd
{

int CreateThread(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                 void* argument)
{
    return pthread_create(thread, attributes, function, argument);
}

void SleepUs(std::uint32_t us)
{
    usleep(us);
}

} // namespace KvTd
