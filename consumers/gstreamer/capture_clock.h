/** Capture times, which are on the host's real-time clock, as running times of a pipeline. */
#pragma once

#include <gst/gst.h>

#include <cstdint>

namespace kvgst
{

/** Streaming thread only.
 *
 *  The difference between the two clocks is measured with each frame. It is kept for as long as the
 *  measurements agree with it, so that their noise does not get into the distances between frames:
 *  the system's two clocks run at the same rate, and their difference changes only when the
 *  real-time clock is set. A pipeline clock with a rate of its own is followed in small steps. */
class CaptureClock
{
public:
    /** Forgets the clock, e.g. because the pipeline was stopped. */
    void Reset();

    /** The running time of a frame with this capture time (ns since the epoch; 0: none), later than
     *  that of the frame before. The running time of now if there is no capture time, or none that
     *  makes sense. GST_CLOCK_TIME_NONE if the element has no clock. */
    GstClockTime RunningTime(GstElement* element, std::int64_t captureTimeNs);

private:
    bool known_ = false;
    std::int64_t offset_ = 0; ///< pipeline clock minus real-time clock, ns
    std::int64_t last_ = -1;  ///< running time of the frame before, ns
};

} // namespace kvgst
