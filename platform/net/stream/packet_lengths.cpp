/** How long the payload packets of a frame may be, and what those of another length mean. */
#include "net/stream/frame_assembly.h"

namespace net
{

/** Whether a payload packet may be as long as this one is. */
bool FrameAssembly::FitsLength(std::uint32_t id, std::uint32_t bytes, Ns now)
{
    if (bytes == step_) {
        return true;
    }
    ++oddPackets_;
    if (IsOtherSize(id, bytes, now)) {
        return true;
    }
    return bytes < step_ && id > highest_ && (trailerId_ == 0 || id + 1 == trailerId_);
}

/** Two packets of the same size, and none of the expected one: the camera sends packets as it
 *  likes. */
bool FrameAssembly::IsOtherSize(std::uint32_t id, std::uint32_t bytes, Ns now)
{
    if (!stream_->step.MayLearn() || fullPackets_ != 0) {
        return false;
    }
    if (oddId_ == 0 || oddId_ == id || oddBytes_ != bytes) {
        oddId_ = id;
        oddBytes_ = bytes;
        return false;
    }
    const std::uint32_t before = shortId_;
    shortId_ = 0;
    stream_->step.Learn(bytes);
    SetStep(bytes);
    if (before == 1) {
        ++fullPackets_; // it lies where it belongs
    } else if (before != 0) {
        WasCut(before, now);
    }
    return true;
}

/** The packet was shorter than the camera sent it. */
void FrameAssembly::WasCut(std::uint32_t id, Ns now)
{
    received_[id / 64] &= ~(std::uint64_t{1} << id % 64);
    --frame_.packetsReceived;
    ++stream_->counts.malformed;
    if (!missing_.Insert(id, now)) {
        doomed_ = true;
    }
    if (id == shortId_) {
        shortId_ = 0;
    }
    while (highest_ > 0 && !WasReceived(highest_)) {
        --highest_;
    }
}

} // namespace net
