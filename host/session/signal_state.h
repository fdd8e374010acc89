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

#include <atomic>
#include <cstdint>

namespace kvgrab
{

class SignalState
{
public:
    /** Called from a signal handler or any thread. Async-signal-safe. Returns the number of
     *  terminates so far, including this one, for a terminate, otherwise 0. */
    int Raise(KvTd::SignalState signal) noexcept;

    /** The state for the driver's round that begins now. */
    KvTd::SignalState Check() noexcept;
    /** The round of the last Check has a frame, so the driver has used the answer. */
    void RoundHadFrame() noexcept { told_ = KvTd::kSignalNone; }
    /** The round of the last Check has no frame: a usr signal reported to it is pending again. */
    void RoundMissed() noexcept;
    /** The device session is over; a signal that was reported but not used is pending again. */
    void SessionEnded() noexcept { RoundMissed(); }

    /** Clears a pending reconfigure; call it before reading, so that a signal that comes while the
     *  file is being read counts again. */
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
