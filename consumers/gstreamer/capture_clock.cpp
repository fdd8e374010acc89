#include "capture_clock.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>

namespace kvgst
{
namespace
{

constexpr std::int64_t kTolerated = 50 * GST_USECOND; ///< noise of a measurement
constexpr std::int64_t kOldest = 60 * GST_SECOND;     ///< an older capture time makes no sense

std::int64_t RealTime()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return std::int64_t{now.tv_sec} * std::int64_t{GST_SECOND} + now.tv_nsec;
}

struct Now {
    std::int64_t real = 0;
    std::int64_t pipeline = 0;
};

/** Reads both clocks at the same moment: the best of some attempts, since the thread may be
 *  interrupted between two readings. */
Now ReadClocks(GstClock* clock)
{
    Now best;
    std::int64_t shortest = G_MAXINT64;
    for (int attempt = 0; attempt < 5 && shortest > 2 * std::int64_t{GST_USECOND}; ++attempt) {
        const std::int64_t before = RealTime();
        const auto pipeline = static_cast<std::int64_t>(gst_clock_get_time(clock));
        const std::int64_t took = RealTime() - before;
        if (took < shortest) {
            shortest = std::max(took, std::int64_t{0});
            best = {before + took / 2, pipeline};
        }
    }
    return best;
}

} // namespace

void CaptureClock::Reset()
{
    known_ = false;
    last_ = -1;
}

GstClockTime CaptureClock::RunningTime(GstElement* element, std::int64_t captureTimeNs)
{
    GstClock* clock = gst_element_get_clock(element);
    if (clock == nullptr) {
        return GST_CLOCK_TIME_NONE;
    }
    const Now now = ReadClocks(clock);
    gst_object_unref(clock);
    const std::int64_t measured = now.pipeline - now.real;
    if (!known_ || std::abs(measured - offset_) > kTolerated) {
        offset_ = measured;
        known_ = true;
    }
    const std::int64_t age = now.real - captureTimeNs;
    const bool sensible = captureTimeNs > 0 && age >= 0 && age < kOldest;
    const std::int64_t time = (sensible ? captureTimeNs : now.real) + offset_ -
                              static_cast<std::int64_t>(gst_element_get_base_time(element));
    last_ = std::max({time, last_ + 1, std::int64_t{0}});
    return static_cast<GstClockTime>(last_);
}

} // namespace kvgst
