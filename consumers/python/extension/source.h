/** A source of frames, shared by the Python objects that use it. */
#pragma once

#include "kvframes.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace kvpython
{

/** Keeps the pixels of a frame mapped, for the frame and for all arrays that show them. */
class Pixels
{
public:
    /** Takes over a frame that is pinned. */
    explicit Pixels(const kvf_frame& pinned) : frame_(pinned) {}
    ~Pixels() { kvf_unpin(&frame_); }
    Pixels(const Pixels&) = delete;
    Pixels& operator=(const Pixels&) = delete;

    const kvf_frame& Frame() const { return frame_; }

private:
    kvf_frame frame_;
};

/** Owns a source of the library. Any thread may call everything. The library's source is closed
 * when the last owner is gone; Close() ends waits before that.
 *
 *  Waits on one source take turns, because the library keeps a frame's address only until the next
 *  wait, and it has to be pinned before. */
class Source
{
public:
    explicit Source(const std::string& name); ///< throws Failure
    ~Source();
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    /** Waits for a frame as kvf_wait() does; without a time, for ever. The caller has the GIL,
     * which is released meanwhile; Python's handlers of signals run. Throws Failure, or the
     * exception of such a handler. */
    std::shared_ptr<const Pixels> Wait(std::optional<double> seconds, kvf_which which);
    /** Ends all waits under way, or the next one if none is. */
    void Interrupt();
    /** Ends all waits, also later ones. */
    void Close();
    bool IsClosed() const { return closed_; }
    /** Closes all sources that exist. */
    static void CloseAll();

    kvf_state State(); ///< throws Failure
    /** Holds a frame; throws Failure, also if the source holds one already. */
    void Hold(const kvf_frame& frame);
    kvf_result Release();

    bool IsValid(const kvf_frame& frame) const { return kvf_is_valid(source_, &frame) != 0; }

private:
    using Clock = std::chrono::steady_clock;

    /** The interrupts until now, after which a wait ends that begins now; throws if one is due. */
    std::uint64_t BeginWait();
    void EndWait();
    void FailIfEnded(std::uint64_t interrupts) const;
    std::shared_ptr<const Pixels> WaitUntil(Clock::time_point end, kvf_which which,
                                            std::uint64_t interrupts);

    kvf_source* source_ = nullptr;
    std::timed_mutex turn_; ///< of the thread that waits
    std::mutex waits_;      ///< guards the next two
    unsigned waiting_ = 0;
    bool interruptNext_ = false;
    std::atomic<std::uint64_t> interrupts_ = 0;
    std::atomic<bool> closed_ = false;
    std::mutex holding_; ///< guards the next one
    bool holds_ = false;
};

} // namespace kvpython
