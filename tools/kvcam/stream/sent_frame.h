/** A frame that the camera sends or has sent, and the newest of them, which it can send again. */
#pragma once

#include "tools/kvcam/control/memory.h"
#include "tools/kvcam/stream/frame_packets.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <utility>

namespace kvcam
{

struct SentFrame {
    /** `giveBack` is called when nobody needs the pixels any more. */
    SentFrame(std::uint64_t frameNumber, FramePackets framePackets, std::function<void()> giveBack)
        : number(frameNumber), packets(std::move(framePackets)), giveBack_(std::move(giveBack))
    {
    }
    ~SentFrame() { giveBack_(); }
    SentFrame(const SentFrame&) = delete;
    SentFrame& operator=(const SentFrame&) = delete;

    const std::uint64_t number; ///< from 1 on after each start
    const FramePackets packets;
    std::atomic<std::uint32_t> unsent{0}; ///< the first packet whose turn hasn't come

private:
    std::function<void()> giveBack_;
};

/** Threads: one at a time. */
class FrameMemory
{
public:
    explicit FrameMemory(std::size_t depth) : depth_(depth) {}

    std::size_t Depth() const { return depth_; }
    /** Returns all frames. */
    std::deque<std::shared_ptr<SentFrame>> Clear() { return std::exchange(frames_, {}); }
    /** Returns the frame that has to leave the memory; null: none. */
    std::shared_ptr<SentFrame> Add(std::shared_ptr<SentFrame> frame);

    struct Found {
        std::shared_ptr<SentFrame> frame; ///< null: see `status`
        Status status = Status::Done;
    };
    Found Find(std::uint64_t block) const;

private:
    const std::size_t depth_;
    std::deque<std::shared_ptr<SentFrame>> frames_; // the oldest first
};

} // namespace kvcam
