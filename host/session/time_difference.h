/** The difference of two times. */
#pragma once

#include <sys/time.h>

namespace kvgrab
{

/** later - earlier with microseconds from 0 to 999999, so that -0.25 s is {-1, 750000}. */
inline timeval TimeDifference(const timeval& later, const timeval& earlier)
{
    constexpr suseconds_t kMicrosecondsPerSecond = 1'000'000;
    suseconds_t microseconds = later.tv_usec - earlier.tv_usec;
    time_t seconds = later.tv_sec - earlier.tv_sec + microseconds / kMicrosecondsPerSecond;
    microseconds %= kMicrosecondsPerSecond;
    if (microseconds < 0) {
        microseconds += kMicrosecondsPerSecond;
        --seconds;
    }
    return {seconds, microseconds};
}

} // namespace kvgrab
