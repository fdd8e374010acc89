/** Disables thread cancellation for a scope in which a cancelled thread would leave a lock held or
 *  a buffer half handed over. */
#pragma once

#include <pthread.h>

namespace base
{

class CancellationGuard
{
public:
    CancellationGuard() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
    ~CancellationGuard() { pthread_setcancelstate(before_, nullptr); }
    CancellationGuard(const CancellationGuard&) = delete;
    CancellationGuard& operator=(const CancellationGuard&) = delete;

private:
    int before_ = PTHREAD_CANCEL_ENABLE;
};

} // namespace base
