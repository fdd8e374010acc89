/** Arithmetic of the frame clock; its header explains how a frame goes through it. */
#include "util/frame_clock.h"

#include "util/units.h"

namespace KvTd
{

namespace
{

/** Sign-extended, so that adding it wraps like a subtraction of its magnitude. */
constexpr std::uint64_t Extend(std::int32_t value)
{
    return static_cast<std::uint64_t>(std::int64_t{value});
}

constexpr std::uint32_t Low(std::uint64_t value)
{
    return static_cast<std::uint32_t>(value);
}

} // namespace

FrameClock::FrameClock(std::uint64_t loopStartUs, std::uint32_t framePeriodUs)
    : loopStartUs_(loopStartUs), measuredPeriodUs_(framePeriodUs)
{
}

/** Host time at which the frame's exposure began, as derived from the first frame's latency. */
std::uint64_t FrameClock::predicted(const FrameTimes& frame) const
{
    return frame.latencyUs + frame.hostGotUs - Extend(startLatencyUs_);
}

void FrameClock::anchor(const FrameTimes& frame, std::uint64_t refTimeUs)
{
    tsDiffAdjUs_ = predicted(frame) - frame.camTsUs;
    refTimeUs_ = refTimeUs;
}

void FrameClock::readjust(const FrameTimes& frame)
{
    anchor(frame, frame.hostGotUs);
    // Deliberate: not the first frame's lag. Pacing.ReanchoringTakesTheLatencyAsExpectedLag
    diffCheckUs_ = Extend(startLatencyUs_);
}

FrameClock::InitTimings FrameClock::First(const FrameTimes& frame, std::uint32_t roundsBefore)
{
    const bool byHost = frame.firstTsUs == 0 || frame.firstTsUs == frame.camTsUs;
    const std::uint32_t latency =
        byHost ? Low(frame.hostGotUs) - Low(loopStartUs_) - frame.framePeriodUs * roundsBefore
               : static_cast<std::uint32_t>(frame.exposureUs) - Low(frame.camTsUs) +
                     Low(frame.firstTsUs);
    startLatencyUs_ = static_cast<std::int32_t>(latency);
    const std::uint64_t tsBase = predicted(frame);
    anchor(frame, tsBase);
    diffCheckUs_ = frame.hostGotUs - tsBase;
    return {startLatencyUs_, tsDiffAdjUs_, diffCheckUs_};
}

FrameClock::Arrival FrameClock::Arrived(const FrameTimes& frame, bool second)
{
    Arrival arrival{};
    const std::uint64_t at = predicted(frame);
    arrival.prevCamTsUs = prevCamTsUs_;
    if (frame.camTsUs < prevCamTsUs_) {
        arrival.wrapped = true;
        anchor(frame, at);
    } else {
        // About two periods or more are a lost frame, not a new period.
        const std::uint64_t distance = frame.camTsUs - prevCamTsUs_;
        if (distance < 2 * std::uint64_t{frame.framePeriodUs} - frame.framePeriodUs / 10) {
            measuredPeriodUs_ = Low(distance);
        }
    }
    if (frame.tsAdjNs != 0 && (second || frame.hostGotUs <= frameTsUs_)) {
        arrival.initTrigger = true;
        arrival.oldDiffUs = tsDiffAdjUs_;
        arrival.newDiffUs = at - frame.camTsUs;
        arrival.oldFrameTsUs = frameTsUs_;
        arrival.newFrameTsUs = at;
        frameTsUs_ = at;
        anchor(frame, at);
    }
    return arrival;
}

FrameClock::Pace FrameClock::CheckPace(const FrameTimes& frame)
{
    Pace pace{};
    const std::uint32_t perSecond = ToUint32(static_cast<double>(frame.fps));
    const std::uint64_t lag = frame.hostGotUs - frameTsUs_;
    const std::uint64_t tol = diffCheckUs_ / 10;
    pace.lagUs = lag;
    pace.fastLimitUs = diffCheckUs_ - tol;
    pace.slowLimitUs = diffCheckUs_ + tol;
    if (lag < pace.fastLimitUs) {
        if (++counters_.fastCnt > 3 * perSecond) {
            pace.fast = true;
            counters_.fastCnt = 0;
            readjust(frame);
        }
        return pace;
    }
    if (lag < pace.slowLimitUs) {
        counters_ = {};
        return pace;
    }
    if (++counters_.slowCnt > 3 * perSecond) {
        pace.slow = true;
        counters_.slowCnt = 0;
        readjust(frame);
    }
    pace.extraSlowLimitUs = 4 * diffCheckUs_; // what a re-anchoring just before left of it
    if (lag >= pace.extraSlowLimitUs && ++counters_.extraSlowCnt > perSecond) {
        pace.extraSlow = true;
        counters_.extraSlowCnt = 0;
        readjust(frame);
    }
    return pace;
}

FrameClock::Next FrameClock::NextFrame(const FrameTimes& frame)
{
    Next next{};
    const std::uint64_t at = predicted(frame);
    if (frame.tsAdjNs == 0) {
        frameTsUs_ = frame.framePeriodUs + at;
        return next;
    }
    const auto sinceReference = static_cast<std::int64_t>(at - refTimeUs_);
    next.adjUs = ToInt32(static_cast<double>(sinceReference) * 1e-9 * frame.tsAdjNs);
    if (static_cast<std::uint32_t>(next.adjUs) + 0x60000000U > 0xC0000000U) {
        next.overflow = true;
        anchor(frame, at); // Deliberate: this correction still counts. Drift.OverflowIsAppliedOnce
    }
    frameTsUs_ = measuredPeriodUs_ + frame.camTsUs + Extend(next.adjUs) + tsDiffAdjUs_;
    return next;
}

} // namespace KvTd
