#include "session/signal_state.h"

namespace kvgrab
{

int SignalState::Raise(KvTd::SignalState signal, std::int64_t nowNs) noexcept
{
    if (signal == KvTd::kSignalTerminate || signal == KvTd::kSignalQuit) {
        std::int64_t none = 0;
        endAskedNs_.compare_exchange_strong(none, nowNs);
    }
    pending_.fetch_or(Bit(signal));
    if (signal != KvTd::kSignalTerminate) {
        return 0;
    }
    std::int64_t firstNs = 0;
    const bool isFirst = firstTerminateNs_.compare_exchange_strong(firstNs, nowNs);
    const bool counts = isFirst || nowNs - firstNs >= kCountedAfterNs;
    return counts ? terminates_.fetch_add(1) + 1 : terminates_.load();
}

KvTd::SignalState SignalState::Check() noexcept
{
    thisRound_ = KvTd::kSignalNone;
    const std::uint32_t pending = pending_.load();
    for (const KvTd::SignalState lasting :
         {KvTd::kSignalTerminate, KvTd::kSignalQuit, KvTd::kSignalReconfigure}) {
        if ((pending & Bit(lasting)) != 0) {
            return lasting;
        }
    }
    for (const KvTd::SignalState once : {KvTd::kSignalUsr1, KvTd::kSignalUsr2}) {
        if ((pending & Bit(once)) != 0) {
            Clear(once);
            thisRound_ = once;
            return once;
        }
    }
    return KvTd::kSignalNone;
}

void SignalState::RoundMissed() noexcept
{
    if (thisRound_ != KvTd::kSignalNone) {
        pending_.fetch_or(Bit(thisRound_));
        thisRound_ = KvTd::kSignalNone;
    }
}

bool SignalState::Terminating() const noexcept
{
    return (pending_.load() & (Bit(KvTd::kSignalTerminate) | Bit(KvTd::kSignalQuit))) != 0;
}

bool SignalState::ReconfigurationAsked() const noexcept
{
    return (pending_.load() & Bit(KvTd::kSignalReconfigure)) != 0;
}

} // namespace kvgrab
