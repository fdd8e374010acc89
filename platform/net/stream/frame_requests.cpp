/** What a frame does when time passes: it requests packets, and it is given up. */
#include "net/stream/frame_assembly.h"

#include <algorithm>

namespace net
{

/** When packets of this frame don't come any more, since those of a later one do. */
Ns FrameAssembly::NextDue() const
{
    return nextBegan_ == kNever ? kNever
                                : std::max(nextBegan_, newest_) + stream_->settings.reorderWindow;
}

/** When packets behind the horizon are taken for lost: soon after the next frame has begun. Before
 *  that they are requested when the camera has been quiet for some time. */
Ns FrameAssembly::TailDue() const
{
    const ReassemblySettings& settings = stream_->settings;
    if (trailerId_ != 0 || tailClosed_) {
        return kNever;
    }
    if (nextBegan_ != kNever) {
        return NextDue();
    }
    const std::uint32_t promised = Promised();
    if (!settings.requests || doomed_ || highest_ == 0 || promised == 0 ||
        promised + 2 <= horizon_ || promised + 2 - horizon_ > settings.mostRequested - requested_) {
        return kNever;
    }
    return newest_ + settings.requestTimeout;
}

void FrameAssembly::CloseTail(Ns now)
{
    tailClosed_ = true;
    const std::uint32_t promised = Promised();
    if (!stream_->settings.requests || promised == 0 || promised + 2 <= horizon_ ||
        !missing_.Append({horizon_, promised + 1, now, false})) {
        doomed_ = true;
        return;
    }
    horizon_ = promised + 2;
    lastFull_ = 0;
}

void FrameAssembly::Tick(Ns now)
{
    if (finished_) {
        return;
    }
    if (now >= newest_ + stream_->settings.retention || (!confirmed_ && now >= NextDue())) {
        GiveUp();
        return;
    }
    if (!confirmed_) {
        return;
    }
    if (now >= TailDue()) {
        CloseTail(now);
    }
    if (now >= missing_.Due()) {
        Request(now);
    }
    if (IsHopeless()) {
        GiveUp();
    }
}

Ns FrameAssembly::Due() const
{
    if (finished_) {
        return kNever;
    }
    const Ns end = newest_ + stream_->settings.retention;
    return confirmed_ ? std::min({end, TailDue(), missing_.Due()}) : std::min(end, NextDue());
}

void FrameAssembly::Request(Ns now)
{
    std::vector<MissingRun>& runs = missing_.Runs();
    doomed_ = doomed_ || !stream_->settings.requests;
    for (MissingRun& run : runs) {
        if (run.due <= now && !doomed_ && !RequestRun(&run, now)) {
            doomed_ = true;
            missing_.Clear();
            return;
        }
    }
    if (doomed_) { // nothing is requested any more, and nothing more is awaited
        std::erase_if(runs, [now](const MissingRun& run) { return run.due <= now; });
    }
    missing_.Changed();
}

/** False: more packets are missing than may be requested. */
bool FrameAssembly::RequestRun(MissingRun* run, Ns now)
{
    const ReassemblySettings& settings = stream_->settings;
    const std::uint32_t packets = run->last - run->first + 1;
    if (!run->requested && packets > settings.mostRequested - requested_) {
        return false;
    }
    run->due = now + settings.requestTimeout;
    if (!stream_->requests.Push({frame_.number, frame_.extendedIds, run->first, run->last})) {
        return true; // later
    }
    requested_ += run->requested ? 0 : packets;
    stream_->counts.requested += packets;
    run->requested = true;
    return true;
}

bool FrameAssembly::IsHopeless() const
{
    return doomed_ && missing_.IsEmpty() && (trailerId_ != 0 || tailClosed_);
}

} // namespace net
