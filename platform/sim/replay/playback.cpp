#include "sim/replay/playback.h"

#include <algorithm>
#include <utility>

namespace sim
{

Playback::Playback(std::shared_ptr<const Recording> recording, Manner manner)
    : recording_(std::move(recording)), manner_(manner)
{
}

std::int64_t Playback::TimeNs(std::size_t position) const
{
    return roundNs_ + recording_->Frames()[position].timeNs;
}

void Playback::Start(std::int64_t nowNs)
{
    lead_ = true;
    if (next_ == recording_->Frames().size()) {
        over_ = true; // the last frame was dropped with the transfer before
    } else {
        originNs_ = nowNs + recording_->PeriodNs() - TimeNs(next_);
    }
}

std::optional<std::int64_t> Playback::NextStartNs() const
{
    if (next_ >= recording_->Frames().size() || !failure_.empty()) {
        return std::nullopt;
    }
    const std::int64_t leadNs = lead_ ? recording_->PeriodNs() : 0;
    return originNs_ + TimeNs(next_) - leadNs;
}

Playback::Step Playback::Take(std::int64_t startNs)
{
    originNs_ += std::max<std::int64_t>(startNs - NextStartNs().value_or(startNs), 0);
    const std::vector<RecordedFrame>& frames = recording_->Frames();
    const RecordedFrame& frame = frames[next_];
    Step step = {.position = next_,
                 .number = frame.number == 0 ? 0 : frame.number + roundNumbers_,
                 .ticks = frame.ticks == 0 ? 0 : frame.ticks + roundTicks_,
                 .gain = frame.gain,
                 .exposureUs = frame.exposureUs,
                 .lostBefore = frame.lostBefore};
    if (std::exchange(lead_, false)) {
        step.number -= std::min<std::uint64_t>(step.number, 1);
        step.ticks -= std::min(step.ticks, recording_->PeriodTicks());
        step.lostBefore = 0;
        return step;
    }
    ++next_;
    if (next_ == frames.size() && manner_.loop) {
        next_ = 0;
        roundNs_ += manner_.fast ? 0 : frame.timeNs + recording_->PeriodNs();
        roundNumbers_ += frame.number - frames.front().number + 1;
        roundTicks_ += frame.ticks - frames.front().ticks + recording_->PeriodTicks();
    }
    step.last = next_ == frames.size();
    return step;
}

void Playback::Fail(std::string why)
{
    failure_ = std::move(why);
    over_ = true;
}

} // namespace sim
