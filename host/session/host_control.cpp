// What a HostSession has to do with the control socket.

#include "session/host_session.h"

#include <fmt/format.h>

namespace kvgrab
{

void HostSession::ShowState(RunState state, std::string_view sentence)
{
    if (parts.desk != nullptr) {
        parts.desk->SetState(state, sentence);
    }
}

void HostSession::ShareCounts(const TransferCounts& counts)
{
    if (parts.desk != nullptr) {
        parts.desk->SetCounts({.grabbed = progress.Grabbed(),
                               .requested = parts.config.Current().session.frames,
                               .rate = progress.Rate(),
                               .transfers = counts,
                               .exposureUs = scenario.frame.exposureUs,
                               .gainDb = scenario.frame.gainDb,
                               .temperature = progress.Temperature(),
                               .frameBytes = parts.memory.ActFsize(),
                               .takenBack = parts.memory.TakenBack()});
    }
}

/** Puts what the control socket asked for in force. True: the driver has to apply it. */
bool HostSession::TakeAskedChange()
{
    if (parts.desk == nullptr) {
        return false;
    }
    const std::optional<AskedChange> change = parts.desk->TakeChange();
    if (!change) {
        return false;
    }
    const ConfigChanges changes = Compare(parts.config.Current(), change->wanted);
    parts.config.Take(change->wanted, change->tables);
    reload_.ForgetTableIfChanged(changes);
    parts.log.Line(3, fmt::format("changed through the control socket, applying: {}",
                                  Listed(changes.dynamic)));
    settingsChanged_ = true;
    return true;
}

} // namespace kvgrab
