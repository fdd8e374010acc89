/** FrameMemory: when a buffer is marked as filling, so that nobody reads it any more. A transfer
 * that asks has it marked right before it fills it; for one that doesn't, the buffers are marked
 * some frames ahead of their turn. */
#include "memory/frame_memory.h"

#include <algorithm>
#include <utility>

namespace kvgrab
{
namespace
{

using namespace KvFrames;

constexpr auto kRelaxed = std::memory_order_relaxed;
constexpr auto kRelease = std::memory_order_release;

/** Buffers that consumers leave to the camera: one with the driver, one that is being filled, one
 *  for the frame after that. */
constexpr std::uint32_t kLeftToCamera = 3;

} // namespace

void FrameMemory::CountRound()
{
    Release();
    ++round_;
    MarkTurns();
}

/** For a transfer that does not ask. With N buffers, round r and k spare frames: the camera fills
 * the buffer of round r + 1 - N now, and those up to r + 1 - N + k are marked. Nothing is held when
 * this runs. */
void FrameMemory::MarkTurns()
{
    if (bufferCount_ == 0 || Header()->exact.load(kRelaxed) != 0) {
        return;
    }
    for (std::uint32_t i = 0; i < bufferCount_; ++i) {
        Word64& word = Infos()[i].word;
        const std::uint64_t now = word.load(kRelaxed);
        if (StateOfFrame(now) == kFrameReleased &&
            takenRound_[i] + bufferCount_ <= round_ + 1 + spareFrames_) {
            word.store(PackFrameWord(FrameSequence(now), kFrameFilling), kRelease);
        }
    }
}

void FrameMemory::Release()
{
    if (heldIndex_ == kNoBuffer) {
        return;
    }
    // When the driver has given the buffer back already, it may be marked as filling by now.
    std::uint64_t held = PackFrameWord(sequence_, kFrameHeld);
    Infos()[std::exchange(heldIndex_, kNoBuffer)].word.compare_exchange_strong(
        held, PackFrameWord(sequence_, kFrameReleased));
    MarkTurns();
}

bool FrameMemory::MayFill(const void* image, bool lastChoice)
{
    const std::uint32_t index = IndexOf(image);
    if (index == kNoBuffer) {
        return true;
    }
    if (Header()->exact.load(kRelaxed) == 0) {
        Header()->exact.store(1, kRelease);
    }
    const bool may = MarkForFilling(index, lastChoice);
    std::atomic_thread_fence(kRelease); // the mark before the new pixels
    return may;
}

/** False: a consumer keeps the frame, and the buffer is not marked. */
bool FrameMemory::MarkForFilling(std::uint32_t index, bool lastChoice)
{
    Word64& word = Infos()[index].word;
    const std::uint64_t before = word.load();
    if (StateOfFrame(before) == kFrameFilling) {
        return true;
    }
    const std::uint64_t sequence = FrameSequence(before);
    if (!lastChoice && leases_.Hold(sequence) && KeepForConsumers(index)) {
        return false;
    }
    // A consumer that takes a lease loads the word afterwards, and this looks at the leases after
    // it stored the word: one of the two sees the other.
    word.store(PackFrameWord(sequence, kFrameFilling));
    if (!leases_.Hold(sequence)) {
        return true;
    }
    if (!lastChoice && KeepForConsumers(index)) {
        word.store(PackFrameWord(sequence, kFrameReleased));
        return false;
    }
    ++takenBack_;
    return true;
}

/** Whether the held frame in this buffer can stay. If consumers hold too many, the oldest one is
 *  taken back: this one, or another one, whose buffer is filled in its place. */
bool FrameMemory::KeepForConsumers(std::uint32_t index)
{
    if (bufferCount_ >= leases_.Most() + kLeftToCamera) {
        return true;
    }
    std::uint32_t held = 1;
    std::uint32_t oldest = index;
    std::uint64_t oldestSequence = FrameSequence(Infos()[index].word.load());
    for (std::uint32_t i = 0; i < bufferCount_; ++i) {
        const std::uint64_t word = Infos()[i].word.load();
        const std::uint64_t sequence = FrameSequence(word);
        if (i == index || StateOfFrame(word) == kFrameFilling || !leases_.Hold(sequence)) {
            continue;
        }
        ++held;
        if (sequence < oldestSequence) {
            oldest = i;
            oldestSequence = sequence;
        }
    }
    if (bufferCount_ >= held + kLeftToCamera) {
        return true;
    }
    std::uint64_t released = PackFrameWord(oldestSequence, kFrameReleased);
    if (oldest == index || !Infos()[oldest].word.compare_exchange_strong(
                               released, PackFrameWord(oldestSequence, kFrameFilling))) {
        return false;
    }
    ++takenBack_;
    return true;
}

std::uint32_t FrameMemory::MostHeld() const
{
    return bufferCount_ - std::min(bufferCount_, kLeftToCamera);
}

} // namespace kvgrab
