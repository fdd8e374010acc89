/** Waiting.
 *
 *  A thread that waits sleeps in the kernel on two words: the host's `wake`, which rises with each
 *  frame, each change of layout and the host's end, and the source's own count of interruptions. It
 *  loads both before it looks, so whatever happens after the look ends the wait. A host that was
 *  killed wakes nobody, so the thread looks for the host's lock four times a second. While there is
 *  no host, it looks for one at the same pace. Where the board can't be written to, the host
 * doesn't know that somebody waits; the thread then looks every 2 ms. */
#include "error.h"
#include "source.h"

#include <algorithm>

namespace kvframes
{
namespace
{

constexpr auto kHostCheck = std::chrono::milliseconds(250);
constexpr auto kPoll = std::chrono::milliseconds(2);

} // namespace

void Source::Interrupt()
{
    interrupts_.fetch_add(1);
    WakeAll(interrupts_);
}

/** Interruptions up to `before` have ended earlier waits. */
bool Source::IsInterrupted(std::uint32_t before, std::uint32_t* now)
{
    *now = interrupts_.load();
    if (*now == before) {
        return false;
    }
    std::uint32_t answered = answered_.load();
    while (static_cast<std::int32_t>(*now - answered) > 0 &&
           !answered_.compare_exchange_weak(answered, *now)) {
    }
    return true;
}

kvf_result Source::LookOnce(kvf_which which, Care care, kvf_frame* frame, Sight* sight)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const kvf_result result = Look(which, care, frame);
    *sight = {view_, board_};
    return result;
}

kvf_result Source::Wait(kvf_which which, int timeoutMs, kvf_frame* frame)
{
    const std::uint32_t before = answered_.load();
    std::uint32_t interrupts = 0;
    Sight sight;
    if (IsInterrupted(before, &interrupts)) {
        return Fail(KVF_INTERRUPTED, "The wait was interrupted.");
    }
    kvf_result result = LookOnce(which, Care::kQuick, frame, &sight);
    const Clock::time_point begin = Clock::now();
    const Clock::time_point end = timeoutMs == KVF_FOREVER
                                      ? Clock::time_point::max()
                                      : begin + std::chrono::milliseconds(timeoutMs);
    Clock::time_point check = begin;
    while (result == KVF_TIMEOUT || result == KVF_NO_HOST) {
        if (IsInterrupted(before, &interrupts)) {
            return Fail(KVF_INTERRUPTED, "The wait was interrupted.");
        }
        const Clock::time_point now = Clock::now();
        const Sight seen = sight;
        std::uint32_t wake = 0;
        if (seen.view) {
            wake = seen.view->memory->Header().wake.load();
            if (seen.board && now < end) {
                seen.board->AnnounceWaiting();
            }
        }
        const Care care = now >= check || now >= end ? Care::kThorough : Care::kQuick;
        check = care == Care::kThorough ? now + kHostCheck : check;
        result = LookOnce(which, care, frame, &sight);
        if (result != KVF_TIMEOUT && result != KVF_NO_HOST) {
            break;
        }
        if (now >= end) {
            return result == KVF_NO_HOST
                       ? Fail(result, "No host offers frames under the name '%s'.", name_.c_str())
                       : Fail(result, "No frame came within %d ms.", timeoutMs);
        }
        if (sight.view != seen.view || sight.board != seen.board) {
            continue; // what was loaded before the look belongs to another memory
        }
        const Clock::time_point until = std::min(end, check);
        if (seen.view && seen.board) {
            WaitForEither(seen.view->memory->Header().wake, wake, interrupts_, interrupts, until);
        } else {
            WaitForChange(interrupts_, interrupts,
                          seen.view ? std::min(until, now + kPoll) : until);
        }
    }
    return result;
}

} // namespace kvframes
