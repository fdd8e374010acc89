// How a HostSession ends with the recording that the camera plays back.

#include "session/host_session.h"

namespace kvgrab
{

ReplayEnd HostSession::Replay() const
{
    return parts.replay ? parts.replay() : ReplayEnd();
}

/** No signal is raised: nobody asked for the end, so pictures that wait may take their time. */
KvTd::SignalState HostSession::CheckSignal()
{
    const KvTd::SignalState signal = parts.signals.Check();
    return signal == KvTd::kSignalNone && Replay().over ? KvTd::kSignalQuit : signal;
}

/** The recording ends without a frame if the last one was lost or could not be read. The driver
 *  acts on signals when a frame comes, so the session has to be interrupted. */
void HostSession::EndReplayWithoutFrame(std::int64_t nowNs)
{
    if (Replay().over) {
        parts.signals.Raise(KvTd::kSignalQuit, nowNs);
    }
}

} // namespace kvgrab
