/** What the driver is told of the process's signals.
 *
 *  A signal handler raises; the grab thread asks and acknowledges.
 *
 *    terminate, quit   pending from the first signal on; only the end of the program clears them
 *    reconfigure       pending until the configuration was read again
 *    usr1, usr2        told once. The driver asks at the begin of a round and drops the answer when
 *                      the round brings no frame: then it is told again
 *
 *  When several are pending the one further up is told first. */
#pragma once

#include "kv_td_types.h"

#include <atomic>
#include <cstdint>

namespace kvgrab
{

class SignalState
{
public:
    /** From a signal handler or any thread. Async-signal-safe. For a terminate: how many there were
     *  with this one, else 0. */
    int Raise(KvTd::SignalState signal) noexcept;

    /** The state for the driver's round that begins now. */
    KvTd::SignalState Check() noexcept;
    /** The round that asked last has a frame: its answer was used. */
    void RoundHadFrame() noexcept { told_ = KvTd::kSignalNone; }
    /** The round that asked last has none: a usr signal that it was told is pending again. */
    void RoundMissed() noexcept;
    /** The device session is over; an answer that no frame confirmed is pending again. */
    void SessionEnded() noexcept { RoundMissed(); }

    /** Takes a pending reconfigure back; call it before reading, so that a signal that comes while
     *  the file is read counts again. */
    void ReconfigurationBegins() noexcept { Clear(KvTd::kSignalReconfigure); }

    bool Terminating() const noexcept;
    bool ReconfigurationAsked() const noexcept;

private:
    static constexpr std::uint32_t Bit(KvTd::SignalState signal) { return 1U << signal; }
    void Clear(KvTd::SignalState signal) noexcept { pending_.fetch_and(~Bit(signal)); }

    std::atomic<std::uint32_t> pending_{0};
    std::atomic<int> terminates_{0};
    KvTd::SignalState told_ = KvTd::kSignalNone; ///< grab thread only: usr signal of this round
    static_assert(std::atomic<std::uint32_t>::is_always_lock_free);
};

} // namespace kvgrab
