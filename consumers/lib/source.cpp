#include "source.h"

#include "error.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace kvframes
{
namespace
{

using namespace KvFrames;

constexpr auto kRelaxed = std::memory_order_relaxed;
constexpr auto kAcquire = std::memory_order_acquire;

constexpr int kTakeAttempts = 8;

bool IsFilling(std::uint64_t word)
{
    return StateOfFrame(word) == kFrameFilling;
}

} // namespace

/** Finds the next frame above the one returned last, or the newest. Frames that are published while
 *  this looks have numbers above `newest` and don't count, so none of them hides an earlier one. */
bool Source::Find(kvf_which which, std::uint64_t newest, std::uint32_t* buffer,
                  std::uint64_t* word) const
{
    const bool wantsNewest = which == KVF_NEWEST || !began_;
    std::uint64_t best = 0;
    for (std::uint32_t i = 0; i < view_->layout.bufferCount; ++i) {
        const std::uint64_t now = view_->memory->Info(i).word.load(kAcquire);
        const std::uint64_t sequence = FrameSequence(now);
        if (IsFilling(now) || sequence <= last_ || sequence > newest) {
            continue;
        }
        if (best == 0 || (sequence > best) == wantsNewest) {
            best = sequence;
            *buffer = i;
            *word = now;
        }
    }
    return best != 0;
}

/** KVF_TIMEOUT: there is no frame to return now. */
kvf_result Source::Take(kvf_which which, kvf_frame* frame)
{
    for (int attempt = 0; attempt < kTakeAttempts; ++attempt) {
        const std::uint64_t newest = view_->memory->Header().newestSequence.load(kAcquire);
        std::uint32_t buffer = 0;
        std::uint64_t word = 0;
        if (newest <= last_ || !Find(which, newest, &buffer, &word)) {
            return KVF_TIMEOUT;
        }
        const Layout& layout = view_->layout;
        const FrameBufferInfo& info = view_->memory->Info(buffer);
        kvf_frame found = {};
        found.sequence = FrameSequence(word);
        found.bytes = info.frameBytes.load(kRelaxed);
        found.time_us = info.timeUs.load(kRelaxed);
        found.capture_time_ns = static_cast<std::int64_t>(info.captureTimeNs.load(kRelaxed));
        found.camera_ticks = info.cameraTicks.load(kRelaxed);
        found.camera_frame_number = info.cameraFrameNumber.load(kRelaxed);
        found.frame_counter = info.frameCounter.load(kRelaxed);
        found.gain_db = info.gainDb.load(kRelaxed);
        found.exposure_us = info.exposureUs.load(kRelaxed);
        if (!view_->StillHolds(buffer, found.sequence)) {
            const kvf_result result = UpdateView();
            if (result != KVF_OK) {
                return result;
            }
            continue;
        }
        if (found.bytes > layout.stride) {
            return BadLayout();
        }
        found.pixels = view_->Pixels(buffer);
        found.width = layout.width;
        found.height = layout.height;
        found.format = FormatOf(layout.codec, layout.width, layout.height, found.bytes);
        std::memcpy(found.codec, layout.codec, sizeof found.codec);
        found.missed = began_ ? missed_ + found.sequence - last_ - 1 : 0;
        found.buffer = buffer;
        found.generation = layout.generation;
        found.host = view_->host;
        *frame = found;
        returned_ = view_;
        last_ = found.sequence;
        missed_ = 0;
        began_ = true;
        return KVF_OK;
    }
    return KVF_TIMEOUT;
}

kvf_result Source::BadLayout() const
{
    return Fail(KVF_INCOMPATIBLE, "The frame memory '%s' describes frames that lie outside of it.",
                name_.c_str());
}

/** Makes the view fit the layout in force. KVF_TIMEOUT: the layout is being changed. */
kvf_result Source::UpdateView()
{
    const FrameMemoryHeader& header = view_->memory->Header();
    if (view_->layout.generation == header.generation.load(kAcquire)) {
        return KVF_OK;
    }
    auto fresh = std::make_shared<View>(*view_);
    LayoutState state = ReadLayout(header, fresh->memory->Bytes(), &fresh->layout);
    if (state == LayoutState::kGrown) {
        int error = 0;
        fresh->memory = fresh->memory->Again(fresh->layout.objectBytes, &error);
        if (!fresh->memory) {
            return error == 0 ? BadLayout() : FailSystem("map", name_.c_str(), error);
        }
        state = ReadLayout(fresh->memory->Header(), fresh->memory->Bytes(), &fresh->layout);
    }
    switch (state) {
    case LayoutState::kBroken:
        return BadLayout();
    case LayoutState::kChanging:
    case LayoutState::kGrown: // again, meanwhile
        return KVF_TIMEOUT;
    case LayoutState::kValid:
        break;
    }
    view_ = std::move(fresh);
    return KVF_OK;
}

/** Looks for a host. KVF_NO_HOST: there is none, or it is only about to begin. */
kvf_result Source::Attach()
{
    int error = 0;
    std::uint64_t bytes = 0;
    auto memory = Mapping::Open(name_.c_str(), Mapping::Access::kRead, sizeof(FrameMemoryHeader),
                                &error, &bytes);
    if (!memory) {
        if (error == ENOENT || (error == 0 && bytes == 0)) {
            return KVF_NO_HOST;
        }
        if (error == EACCES || error == EPERM) {
            return Fail(KVF_DENIED, "This user may not read the frame memory '%s'.", name_.c_str());
        }
        return error != 0
                   ? FailSystem("map", name_.c_str(), error)
                   : Fail(KVF_INCOMPATIBLE, "The shared-memory object '%s' is not a frame memory.",
                          name_.c_str());
    }
    const FrameMemoryHeader& header = memory->Header();
    const std::uint64_t magic = header.magic.load(kAcquire);
    if (magic == 0) {
        return KVF_NO_HOST;
    }
    if (magic != kFrameMemoryMagic) {
        return Fail(KVF_INCOMPATIBLE, "The shared-memory object '%s' is not a frame memory.",
                    name_.c_str());
    }
    if (!HasHost(*memory)) {
        return KVF_NO_HOST;
    }
    const std::uint32_t version = header.version.load(kRelaxed);
    if (version != kFrameMemoryVersion) {
        return Fail(KVF_INCOMPATIBLE,
                    "The frame memory '%s' has version %u of the layout; this library reads "
                    "version %u.",
                    name_.c_str(), version, kFrameMemoryVersion);
    }
    auto view = std::make_shared<View>();
    view->memory = std::move(memory);
    view->layout.generation = 1; // never that of a complete layout
    view->host = ++hosts_;
    auto board = Board::Open(name_);
    Leave();
    view_ = std::move(view);
    board_ = std::move(board);
    return KVF_OK;
}

void Source::Leave()
{
    if (view_ && last_ != 0) {
        const std::uint64_t newest = view_->memory->Header().newestSequence.load(kRelaxed);
        missed_ += std::max(newest, last_) - last_;
    }
    view_.reset();
    board_.reset();
    last_ = 0;
}

/** Returns a frame if there is one, without waiting. KVF_TIMEOUT: not yet; KVF_NO_HOST. With
 *  Care::kQuick it makes no system call as long as the host doesn't change. */
kvf_result Source::Look(kvf_which which, Care care, kvf_frame* frame)
{
    returned_.reset();
    if (view_) {
        const bool ended = view_->memory->Header().running.load(kAcquire) == 0 ||
                           (care == Care::kThorough && !HasHost(*view_->memory));
        // The frames of a host that has ended are still there.
        kvf_result result = UpdateView();
        if (result == KVF_OK) {
            result = Take(which, frame);
        }
        if (result != KVF_TIMEOUT) {
            return result;
        }
        if (!ended) {
            if (care == Care::kThorough && (!board_ || !board_->IsWhole())) {
                board_ = Board::Open(name_); // it may be there by now
            }
            return KVF_TIMEOUT;
        }
        Leave();
    }
    kvf_result result = Attach();
    if (result == KVF_OK) {
        result = UpdateView();
    }
    return result == KVF_OK ? Take(which, frame) : result;
}

} // namespace kvframes
