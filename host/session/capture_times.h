/** Gives each frame its number and capture time. */
#pragma once

#include "memory/frame_values.h"
#include "report/capture_clock.h"
#include "session/host_clock.h"

#include <cstdint>
#include <optional>
#include <string>

namespace kvgrab
{

/** Grab thread only. */
class CaptureTimes
{
public:
    /** Each session relates the clocks from the start: it may be with another camera. */
    void SessionBegins() { clock_.reset(); }

    /** Completes a frame that the driver has described. `facts` count only when they are of the
     *  same ticks; without an arrival in them, the frame came at `wallNs`, by the host's clock.
     *  Clocks are related by the host's monotonic one, which nobody sets: frames that a busy host
     *  gets late by seconds don't look like a clock that was set. Without ticks or their length in
     * `tickNs` there is no capture time. Returns the arrival. */
    std::int64_t Complete(FrameValues* frame, const FrameFacts& facts, std::uint32_t tickNs,
                          std::int64_t wallNs, const HostClock::Reading& now);
    /** What is to be logged since the last call: that a clock was set. Once a minute at most. */
    std::string Notice(std::int64_t nowNs);

private:
    std::optional<CaptureClock> clock_;
    std::uint32_t tickNs_ = 0;
    CaptureClock::Reading newest_;
    std::int64_t quietUntilNs_ = 0;
    unsigned notReported_ = 0; ///< clocks that were set and not reported
};

} // namespace kvgrab
