/** The step in which consumers learn of a frame. */
#pragma once

#include "kv_frame_memory.h"
#include "memory/frame_values.h"

#include <atomic>
#include <cstdint>

namespace kvgrab
{

struct PublishedFrame {
    std::uint64_t sequence = 0; ///< from 1
    std::uint64_t timeUs = 0;
    std::uint32_t bytes = 0;
    FrameValues values;
};

/** Writes a frame's values into its buffer's record and only then, with release order, the word
 *  that publishes them. `Info` is a KvFrames::FrameBufferInfo, or a test's type that checks the
 *  order. */
template <class Info> void PublishFrame(Info& info, const PublishedFrame& frame)
{
    constexpr auto kRelaxed = std::memory_order_relaxed;
    constexpr auto kRelease = std::memory_order_release;
    info.word.store(KvFrames::PackFrameWord(frame.sequence - 1, KvFrames::kFrameFilling), kRelaxed);
    std::atomic_thread_fence(kRelease);
    info.timeUs.store(frame.timeUs, kRelaxed);
    info.cameraTicks.store(frame.values.cameraTicks, kRelaxed);
    info.frameCounter.store(frame.values.frameCounter, kRelaxed);
    info.frameBytes.store(frame.bytes, kRelaxed);
    info.gainDb.store(frame.values.gainDb, kRelaxed);
    info.exposureUs.store(frame.values.exposureUs, kRelaxed);
    info.captureTimeNs.store(frame.values.captureTimeNs, kRelaxed);
    info.cameraFrameNumber.store(frame.values.cameraFrameNumber, kRelaxed);
    info.word.store(KvFrames::PackFrameWord(frame.sequence, KvFrames::kFrameHeld), kRelease);
}

} // namespace kvgrab
