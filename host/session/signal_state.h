/** The pending signals of the process, as they are reported to the driver.
 *
 *  A signal handler raises them; the grab thread checks and acknowledges them.
 *
 *    terminate, quit   pending from the first signal until the program ends
 *    reconfigure       pending until the configuration was read again
 *    usr1, usr2        reported once. The driver asks at the start of a round, but drops the answer
 *                      when the round brings no frame: then the signal is reported again
 *
 *  When several are pending, the one that is further up in this list is reported first. */
#pragma once

#include "kv_td_types.h"
#include "session/monotonic.h"

#include <atomic>
#include <cstdint>

namespace kvgrab
{

class SignalState
{
public:
    /** A terminate that comes sooner after the first one doesn't count: timeout(1) sends two at
     *  once, and so do some terminals. */
    static constexpr std::int64_t kCountedAfterNs = 500'000'000;

    /** Called from a signal handler or any thread, at a time of the monotonic clock.
     *  Async-signal-safe. For a terminate, returns the number of terminates that count up to now;
     *  otherwise 0. */
    int Raise(KvTd::SignalState signal, std::int64_t nowNs) noexcept;
    /** The same, now. */
    int Raise(KvTd::SignalState signal) noexcept { return Raise(signal, MonotonicNs()); }

    /** The state for the driver's round that begins now. */
    KvTd::SignalState Check() noexcept;
    /** The round of the last Check has a frame, so the driver has used the answer. */
    void RoundHadFrame() noexcept { thisRound_ = KvTd::kSignalNone; }
    /** The round of the last Check has no frame: a usr signal reported to it is pending again. */
    void RoundMissed() noexcept;
    /** The device session is over; a signal that was reported but not used is pending again. */
    void SessionEnded() noexcept { RoundMissed(); }

    /** Clears a pending reconfigure; call it before reading, so that a signal that comes while the
     *  file is being read counts again. */
    void ReconfigurationBegins() noexcept { Clear(KvTd::kSignalReconfigure); }

    bool Terminating() const noexcept;
    /** When the first terminate or quit came; 0: none yet. */
    std::int64_t EndAskedNs() const noexcept { return endAskedNs_.load(); }
    bool ReconfigurationAsked() const noexcept;

private:
    static constexpr std::uint32_t Bit(KvTd::SignalState signal) { return 1U << signal; }
    void Clear(KvTd::SignalState signal) noexcept { pending_.fetch_and(~Bit(signal)); }

    std::atomic<std::uint32_t> pending_{0};
    std::atomic<int> terminates_{0};
    std::atomic<std::int64_t> firstTerminateNs_{0};
    std::atomic<std::int64_t> endAskedNs_{0};
    KvTd::SignalState thisRound_ =
        KvTd::kSignalNone; ///< grab thread only: usr signal of this round
    static_assert(std::atomic<std::uint32_t>::is_always_lock_free);
};

} // namespace kvgrab
