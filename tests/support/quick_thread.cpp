#include "tests/support/quick_thread.h"

#include "kv_td_thread.h"

#include <cerrno>
#include <unistd.h>

namespace KvTd
{

static std::string Scheduling(const pthread_attr_t* attributes)
{
    int policy = -1;
    int inherit = -1;
    sched_param parameters{};
    pthread_attr_getschedpolicy(attributes, &policy);
    pthread_attr_getinheritsched(attributes, &inherit);
    pthread_attr_getschedparam(attributes, &parameters);
    return std::string(policy == SCHED_FIFO ? "FIFO" : "other") +
           (inherit == PTHREAD_EXPLICIT_SCHED ? ", own, " : ", inherited, ") +
           std::to_string(parameters.sched_priority);
}

int CreateThread(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                 void* argument)
{
    rig::QuickThread::scheduling = Scheduling(attributes);
    if (!rig::QuickThread::allowed) {
        return EPERM;
    }
    ++rig::QuickThread::created;
    return pthread_create(thread, nullptr, function, argument);
}

void SleepUs(std::uint32_t us)
{
    if (rig::QuickThread::onSleep) {
        rig::QuickThread::onSleep(us);
    }
    usleep(us / 10);
}

} // namespace KvTd
