#include "session/capture_times.h"

#include <cmath>
#include <fmt/format.h>
#include <utility>

namespace kvgrab
{

std::int64_t CaptureTimes::Complete(FrameValues* frame, const FrameFacts& facts,
                                    std::uint32_t tickNs, std::int64_t wallNs,
                                    const HostClock::Reading& now)
{
    const bool same = facts.cameraTicks == frame->cameraTicks;
    const std::int64_t arrivalNs = same && facts.arrivalNs != 0 ? facts.arrivalNs : wallNs;
    frame->cameraFrameNumber = same ? facts.number : 0;
    frame->captureTimeNs = 0;
    newest_ = {};
    if (tickNs == 0 || frame->cameraTicks == 0) {
        return arrivalNs;
    }
    if (!clock_ || tickNs != tickNs_) {
        clock_.emplace(tickNs, CaptureClock::Arrivals::OfASteadyClock);
        tickNs_ = tickNs;
    }
    // While the clock was being set, nobody knows by which of its times the arrival is.
    const std::int64_t steadyNs = now.setByNs != 0 ? now.monotonicNs : arrivalNs - now.offsetNs;
    newest_ = clock_->Frame(frame->cameraTicks, steadyNs);
    if (newest_.captureNs != 0) {
        newest_.captureNs += now.offsetNs;
    }
    if (now.setByNs != 0) {
        newest_.set = ClockSet::Host;
        newest_.byNs = now.setByNs;
    }
    frame->captureTimeNs = static_cast<std::uint64_t>(newest_.captureNs);
    return arrivalNs;
}

std::string CaptureTimes::Notice(std::int64_t nowNs)
{
    constexpr std::int64_t kQuietNs = 60'000'000'000;
    constexpr std::int64_t kDelayNs = 20'000'000; ///< a busy machine may delay all frames so much
    const CaptureClock::Reading reading = std::exchange(newest_, {});
    if (reading.set == ClockSet::None) {
        return "";
    }
    if (nowNs < quietUntilNs_) {
        ++notReported_;
        return "";
    }
    quietUntilNs_ = nowNs + kQuietNs;
    const std::string more =
        notReported_ == 0 ? "" : fmt::format(" (and {} times before)", notReported_);
    notReported_ = 0;
    const char* const direction = reading.byNs < 0 ? "back" : "forward";
    const double seconds = std::abs(static_cast<double>(reading.byNs)) / 1e9;
    if (reading.set == ClockSet::Camera && std::abs(reading.byNs) < kDelayNs) {
        return fmt::format("frames come {} by {:.6f} s than before, by the camera's clock; capture "
                           "times follow{}",
                           reading.byNs < 0 ? "later" : "earlier", seconds, more);
    }
    return reading.set == ClockSet::Host
               ? fmt::format("the host's clock was set {} by {:.6f} s; capture times follow it{}",
                             direction, seconds, more)
               : fmt::format("the camera's clock was set {} by {:.6f} s; capture times follow it{}",
                             direction, seconds, more);
}

} // namespace kvgrab
