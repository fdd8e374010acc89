/** What can be done with a frame that a wait returned. */
#include "error.h"
#include "source.h"

#include <chrono>
#include <cstring>
#include <thread>

namespace kvframes
{
namespace
{

using namespace KvFrames;

constexpr auto kRelaxed = std::memory_order_relaxed;
constexpr int kHeldAttempts = 20;
constexpr auto kHeldPause = std::chrono::microseconds(50);

/** As View::StillHolds, for a frame with a lease. The host marks such a buffer as being filled for
 * a moment, until it sees the lease; the mark stays only if it takes the buffer back. */
bool StillHeld(const View& view, std::uint32_t buffer, std::uint64_t sequence)
{
    const FrameBufferInfo& info = view.memory->Info(buffer);
    for (int attempt = 0; attempt < kHeldAttempts; ++attempt) {
        if (view.StillHolds(buffer, sequence)) {
            return true;
        }
        if (FrameSequence(info.word.load()) != sequence) {
            return false;
        }
        std::this_thread::sleep_for(kHeldPause);
    }
    return false;
}

kvf_result Overwritten(const kvf_frame& frame)
{
    return Fail(KVF_OVERWRITTEN, "The buffer of frame %llu has, or may have, another frame by now.",
                static_cast<unsigned long long>(frame.sequence));
}

} // namespace

Source::~Source()
{
    EndLease();
}

/** Null: the frame isn't of a layout that this source still knows. */
std::shared_ptr<const View> Source::ViewOf(const kvf_frame& frame) const
{
    const auto fits = [&frame](const std::shared_ptr<const View>& view) {
        return view && view->host == frame.host && view->layout.generation == frame.generation &&
               frame.buffer < view->layout.bufferCount && frame.bytes <= view->layout.stride;
    };
    if (frame.reserved != nullptr) {
        const auto& pinned = static_cast<const Pin*>(frame.reserved)->view;
        return fits(pinned) ? pinned : nullptr;
    }
    return fits(view_) ? view_ : fits(returned_) ? returned_ : nullptr;
}

bool Source::IsThere(const View& view, const kvf_frame& frame) const
{
    const bool held = lease_ && lease_->view->host == frame.host &&
                      lease_->sequence == frame.sequence && lease_->buffer == frame.buffer;
    return held ? StillHeld(view, frame.buffer, frame.sequence)
                : view.StillHolds(frame.buffer, frame.sequence);
}

bool Source::IsValid(const kvf_frame& frame) const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::shared_ptr<const View> view = ViewOf(frame);
    return view && IsThere(*view, frame);
}

kvf_result Source::Copy(const kvf_frame& frame, void* to, std::size_t bytes) const
{
    if (bytes < frame.bytes) {
        return Fail(KVF_INVALID, "The frame has %llu bytes, the room for its copy only %zu.",
                    static_cast<unsigned long long>(frame.bytes), bytes);
    }
    std::unique_lock<std::mutex> lock(mutex_);
    const std::shared_ptr<const View> view = ViewOf(frame);
    lock.unlock();
    if (!view) {
        return Overwritten(frame);
    }
    std::memcpy(to, view->Pixels(frame.buffer), frame.bytes);
    lock.lock();
    return IsThere(*view, frame) ? KVF_OK : Overwritten(frame);
}

kvf_result Source::Hold(const kvf_frame& frame)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    EndLease();
    const std::shared_ptr<const View> view = ViewOf(frame);
    if (!view || !view->StillHolds(frame.buffer, frame.sequence)) {
        return Overwritten(frame);
    }
    if (!board_ || !board_->IsWhole() || view_->host != view->host) {
        return Fail(KVF_DENIED, "There is no board '%s%s' that this user may write to.",
                    name_.c_str(), kConsumerBoardSuffix);
    }
    if (view->memory->Header().exact.load(kRelaxed) == 0) {
        return Fail(KVF_DENIED, "The host can't keep frames from being overwritten: its transfer "
                                "fills buffers without asking.");
    }
    const std::optional<std::uint32_t> index = board_->LockLease();
    if (!index) {
        return Fail(KVF_BUSY, "As many frames are held as the host permits, %u.", kLeases);
    }
    lease_ = Lease{view, board_, *index, frame.buffer, frame.sequence};
    board_->SetLease(*index, frame.sequence);
    if (!StillHeld(*view, frame.buffer, frame.sequence)) {
        EndLease();
        return Overwritten(frame);
    }
    return KVF_OK;
}

kvf_result Source::Release()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return EndLease();
}

/** Gives the lease back, if there is one. */
kvf_result Source::EndLease()
{
    if (!lease_) {
        return KVF_OK;
    }
    const Lease lease = *lease_;
    lease_.reset();
    const bool kept = StillHeld(*lease.view, lease.buffer, lease.sequence);
    lease.board->ClearLease(lease.index);
    lease.board->UnlockLease(lease.index);
    return kept ? KVF_OK
                : Fail(KVF_OVERWRITTEN, "The host has taken back the buffer of frame %llu.",
                       static_cast<unsigned long long>(lease.sequence));
}

kvf_result Source::PinFrame(kvf_frame* frame)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (frame->reserved != nullptr) {
        return KVF_OK;
    }
    std::shared_ptr<const View> view = ViewOf(*frame);
    if (!view) {
        return Overwritten(*frame);
    }
    frame->reserved = new Pin{std::move(view)};
    return KVF_OK;
}

kvf_result Source::GetState(kvf_state* state)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    *state = {};
    kvf_result result = view_ && HasHost(*view_->memory) ? KVF_OK : Attach();
    if (result == KVF_OK) {
        result = UpdateView();
    }
    if (result != KVF_OK && result != KVF_TIMEOUT) {
        return result == KVF_NO_HOST
                   ? Fail(result, "No host offers frames under the name '%s'.", name_.c_str())
                   : result;
    }
    const FrameMemoryHeader& header = view_->memory->Header();
    const Layout& layout = view_->layout;
    state->attached = 1;
    state->buffers = layout.bufferCount;
    state->width = layout.width;
    state->height = layout.height;
    state->format = FormatOf(layout.codec, layout.width, layout.height, layout.frameBytes);
    std::memcpy(state->codec, layout.codec, sizeof state->codec);
    state->frame_bytes = layout.bufferCount == 0 ? 0 : layout.frameBytes;
    state->newest = header.newestSequence.load(std::memory_order_acquire);
    state->host_pid = header.ownerPid.load(kRelaxed);
    state->host = view_->host;
    state->generation = layout.generation;
    state->next_time_us = header.nextTimeUs.load(kRelaxed);
    state->can_hold = board_ && board_->IsWhole() && header.exact.load(kRelaxed) != 0 ? 1 : 0;
    return KVF_OK;
}

} // namespace kvframes
