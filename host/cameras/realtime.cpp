#include "cameras/realtime.h"

#include <fmt/format.h>

#include <cstring>
#include <pthread.h>
#include <sys/resource.h>

namespace kvgrab
{

namespace
{

constexpr int kPriority = 98; ///< of SCHED_FIFO, as the driver asks for it

void* DoNothing(void*)
{
    return nullptr;
}

int TryThread()
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setschedpolicy(&attributes, SCHED_FIFO);
    pthread_attr_setinheritsched(&attributes, PTHREAD_EXPLICIT_SCHED);
    sched_param parameters{};
    parameters.sched_priority = kPriority;
    pthread_attr_setschedparam(&attributes, &parameters);
    pthread_t thread{};
    const int status = pthread_create(&thread, &attributes, DoNothing, nullptr);
    pthread_attr_destroy(&attributes);
    if (status == 0) {
        pthread_join(thread, nullptr);
    }
    return status;
}

} // namespace

std::string CheckRealTimePriority()
{
    const int status = TryThread();
    if (status == 0) {
        return "";
    }
    rlimit limit{};
    getrlimit(RLIMIT_RTPRIO, &limit);
    return fmt::format(
        "no real-time priority of {} here ({}; the limit is {}), so the driver works without its "
        "second thread: output lines are not set, and a camera that leaves is noticed by its "
        "missing frames alone. To allow it, raise the limit (ulimit -r 98; rtprio 98 in "
        "/etc/security/limits.conf; LimitRTPRIO=98 in a systemd unit) or give the installed "
        "program the capability (setcap cap_sys_nice+ep)",
        kPriority, std::strerror(status), limit.rlim_cur);
}

} // namespace kvgrab
