#include "tests/support/quick_thread.h"

#include "kv_td_thread.h"

#include <fmt/format.h>

#include <atomic>
#include <cerrno>
#include <limits>
#include <unistd.h>

namespace
{

constexpr unsigned kEnded = std::numeric_limits<unsigned>::max();
std::atomic<unsigned> passes{kEnded}; ///< of the newest control thread
std::atomic<unsigned> awaited{0};     ///< up to this pass it does not sleep
thread_local bool isControlThread = false;

void Await(unsigned pass)
{
    awaited = pass;
    for (unsigned seen = passes; seen < pass; seen = passes) {
        passes.wait(seen);
    }
}

void Publish(unsigned pass)
{
    passes = pass;
    passes.notify_all();
}

void* (*theFunction)(void*) = nullptr; ///< that the newest thread runs

void* Run(void* argument)
{
    struct Ending {
        ~Ending() { Publish(kEnded); } // also when the thread is cancelled
    } const ending;
    isControlThread = true;
    return theFunction(argument);
}

std::string Scheduling(const pthread_attr_t* attributes)
{
    int policy = -1;
    int inherit = -1;
    sched_param parameters{};
    pthread_attr_getschedpolicy(attributes, &policy);
    pthread_attr_getinheritsched(attributes, &inherit);
    pthread_attr_getschedparam(attributes, &parameters);
    return fmt::format("{}, {}, {}", policy == SCHED_FIFO ? "FIFO" : "other",
                       inherit == PTHREAD_EXPLICIT_SCHED ? "own" : "inherited",
                       parameters.sched_priority);
}

} // namespace

void rig::QuickThread::AwaitPass()
{
    constexpr unsigned kWhole = 2; // the first may have begun before
    const unsigned now = passes;
    Await(now == kEnded ? kEnded : now + kWhole);
}

int KvTd::CreateThread(pthread_t* thread, const pthread_attr_t* attributes,
                       void* (*function)(void*), void* argument)
{
    rig::QuickThread::scheduling = Scheduling(attributes);
    if (!rig::QuickThread::allowed) {
        return EPERM;
    }
    ++rig::QuickThread::created;
    passes = 0;
    awaited = 0;
    theFunction = function;
    const int error = pthread_create(thread, nullptr, Run, argument);
    if (error != 0) {
        passes = kEnded;
    }
    return error;
}

void KvTd::SleepUs(std::uint32_t us)
{
    if (rig::QuickThread::onSleep) {
        rig::QuickThread::onSleep(us);
    }
    if (isControlThread) {
        Publish(passes + 1);
        if (passes < awaited) {
            return;
        }
    } else if (rig::QuickThread::patient) {
        Await(kEnded);
        return;
    }
    usleep(us / 10);
}
