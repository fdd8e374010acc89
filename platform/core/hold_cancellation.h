/** Holds thread cancellation off while a public call is under way: a thread that is cancelled in
 *  the middle of one leaves no lock held and no buffer half handed over. */
#pragma once

#include <pthread.h>

namespace gevplat
{

class HoldCancellation
{
public:
    HoldCancellation() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
    ~HoldCancellation() { pthread_setcancelstate(before_, nullptr); }
    HoldCancellation(const HoldCancellation&) = delete;
    HoldCancellation& operator=(const HoldCancellation&) = delete;

private:
    int before_ = PTHREAD_CANCEL_ENABLE;
};

} // namespace gevplat
