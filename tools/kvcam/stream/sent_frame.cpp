#include "tools/kvcam/stream/sent_frame.h"

#include <algorithm>

namespace kvcam
{

namespace
{

/** Whether block `a` comes behind block `b`; numbers wrap. */
bool IsBehind(std::uint64_t a, std::uint64_t b, bool extendedIds)
{
    const std::uint64_t distance = a - b;
    return extendedIds ? static_cast<std::int64_t>(distance) > 0
                       : static_cast<std::int16_t>(distance & 0xFFFF) > 0;
}

} // namespace

std::shared_ptr<SentFrame> FrameMemory::Add(std::shared_ptr<SentFrame> frame)
{
    frames_.push_back(std::move(frame));
    if (frames_.size() <= depth_) {
        return nullptr;
    }
    std::shared_ptr<SentFrame> oldest = std::move(frames_.front());
    frames_.pop_front();
    return oldest;
}

FrameMemory::Found FrameMemory::Find(std::uint64_t block) const
{
    const auto found = std::find_if(frames_.rbegin(), frames_.rend(), [&](const auto& frame) {
        return frame->packets.Form().block == block;
    });
    if (found != frames_.rend()) {
        return {*found};
    }
    if (frames_.empty()) {
        return {nullptr, Status::PacketNotYetAvailable};
    }
    const PacketForm& newest = frames_.back()->packets.Form();
    if (IsBehind(block, newest.block, newest.extendedIds)) {
        return {nullptr, Status::PacketNotYetAvailable};
    }
    const PacketForm& oldest = frames_.front()->packets.Form();
    const bool before = IsBehind(oldest.block, block, oldest.extendedIds);
    return {nullptr, before ? Status::PacketAndPreviousRemoved : Status::PacketRemoved};
}

} // namespace kvcam
