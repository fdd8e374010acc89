/** A source: what a consumer has of one host, and where it is in the host's frames.
 *
 *  All that belongs to one layout of one host is a View, which never changes. The source replaces
 *  its view when the layout changes or another host comes; threads that are still looking at a
 *  frame keep the view that they began with. */
#pragma once

#include "board.h"
#include "futex.h"
#include "kvframes.h"
#include "layout.h"
#include "mapping.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace kvframes
{

/** One layout of one host's memory. */
struct View {
    std::shared_ptr<const Mapping> memory;
    Layout layout;
    std::uint64_t host = 0; ///< number of the host among those of the source, from 1

    const std::byte* Pixels(std::uint32_t buffer) const
    {
        return memory->Base() + layout.pixelOffset + buffer * layout.stride;
    }
    /** True while the buffer holds the frame and nobody writes to it; all that was read of it
     *  before belongs to the frame then. */
    bool StillHolds(std::uint32_t buffer, std::uint64_t sequence) const
    {
        return KvFrames::FrameStillWhole(memory->Info(buffer),
                                         KvFrames::PackFrameWord(sequence, KvFrames::kFrameHeld)) &&
               SameGeneration(memory->Header(), layout.generation);
    }
};

/** What kvf_frame::reserved points to while a frame is pinned. */
struct Pin {
    std::shared_ptr<const View> view;
};

/** Any thread; the lock is held only for moments, never while waiting. */
class Source
{
public:
    explicit Source(std::string name) : name_(std::move(name)) {}
    ~Source();
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    kvf_result Wait(kvf_which which, int timeoutMs, kvf_frame* frame);
    void Interrupt(); ///< async-signal-safe
    bool IsValid(const kvf_frame& frame) const;
    kvf_result Copy(const kvf_frame& frame, void* to, std::size_t bytes) const;
    kvf_result Hold(const kvf_frame& frame);
    kvf_result Release();
    kvf_result PinFrame(kvf_frame* frame);
    kvf_result GetState(kvf_state* state);

private:
    /** The host's promise to leave a frame alone. */
    struct Lease {
        std::shared_ptr<const View> view;
        std::shared_ptr<const Board> board;
        std::uint32_t index = 0;
        std::uint32_t buffer = 0;
        std::uint64_t sequence = 0;
    };
    /** What a thread needs while it waits without the lock. */
    struct Sight {
        std::shared_ptr<const View> view;
        std::shared_ptr<const Board> board;
    };
    enum class Care { kQuick, kThorough };

    bool IsInterrupted(std::uint32_t before, std::uint32_t* now);
    kvf_result LookOnce(kvf_which which, Care care, kvf_frame* frame, Sight* sight);

    // With the lock held:
    kvf_result Look(kvf_which which, Care care, kvf_frame* frame);
    kvf_result Attach();
    void Leave();
    kvf_result UpdateView();
    kvf_result BadLayout() const;
    kvf_result Take(kvf_which which, kvf_frame* frame);
    bool Find(kvf_which which, std::uint64_t newest, std::uint32_t* buffer,
              std::uint64_t* word) const;
    std::shared_ptr<const View> ViewOf(const kvf_frame& frame) const;
    bool IsThere(const View& view, const kvf_frame& frame) const;
    kvf_result EndLease();

    const std::string name_;
    mutable std::mutex mutex_;
    std::shared_ptr<const View> view_;   ///< null: no host
    std::shared_ptr<const Board> board_; ///< null: none that this user can write to
    /** That of the frame returned last, which stays mapped until the next wait. */
    std::shared_ptr<const View> returned_;
    std::uint64_t hosts_ = 0;
    std::uint64_t last_ = 0;   ///< sequence number of this host's frame returned last; 0: none
    std::uint64_t missed_ = 0; ///< frames that hosts before this one published after that
    bool began_ = false;       ///< a frame was returned, by whichever host
    std::optional<Lease> lease_;

    std::atomic<std::uint32_t> interrupts_ = 0; ///< number of calls of Interrupt()
    std::atomic<std::uint32_t> answered_ = 0;   ///< of them, those that have ended a wait
};

} // namespace kvframes
