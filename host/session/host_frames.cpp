// What a HostSession does with each frame: its times, and why frames are dropped.

#include "session/host_session.h"

namespace kvgrab
{

/** What the platform says of the frame that the driver has just waited for, and of those that it
 *  never got. */
void HostSession::ReportDropped(const FrameFacts& newest)
{
    if (!droppedFrames.Waited(newest)) {
        return;
    }
    for (const std::string& sentence : DroppedFrames::Sentences(newest)) {
        parts.log.Line(2, sentence);
    }
    if (parts.trace != nullptr && newest.fault != FrameFault::None) {
        arrivalNs_ = parts.wallClockNs();
        parts.trace->Dropped(TraceLine(newest, newest.cameraTicks));
    }
}

FrameTrace::Line HostSession::TraceLine(const FrameFacts& frame, std::uint64_t cameraTicks) const
{
    return {arrivalNs_ / 1000, cameraTicks, frame};
}

/** The driver publishes the frame counter last, so all of the frame's values are known now. */
void HostSession::FrameDescribed()
{
    const HostClock::Reading now = hostClock_.Read();
    const FrameFacts facts = parts.newestFrame();
    const std::int64_t arrivalNs =
        captureTimes_.Complete(&scenario.frame, facts, scenario.tickNs, arrivalNs_, now);
    const std::string clockWasSet = captureTimes_.Notice(now.monotonicNs);
    if (!clockWasSet.empty()) {
        parts.log.Line(2, clockWasSet);
    }
    if (scenario.tickNs == 0) {
        return;
    }
    if (!drift_) {
        drift_.emplace(scenario.tickNs);
    }
    drift_->Frame(static_cast<std::int64_t>(scenario.frame.cameraTicks * scenario.tickNs),
                  arrivalNs);
    if (parts.trace != nullptr) {
        parts.trace->Frame(
            TraceLine(facts, scenario.frame.cameraTicks),
            {scenario.tickNs, progress.PeriodUs(), static_cast<float>(scenario.frame.exposureUs)});
    }
}

} // namespace kvgrab
