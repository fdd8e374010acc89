#include "injection/node_faults.h"

#include "injection/faults.h"
#include "injection/record.h"

#include <fmt/format.h>

namespace injection
{

void InjectFaults(AccessKind kind, const char* feature, const char* serial, Effects& effects)
{
    const bool write = kind == AccessKind::Write;
    Record::Get().CountAccess(write);
    if (FaultTable::Get().Empty()) {
        return;
    }
    const Trigger trigger = write ? Trigger::Write : Trigger::Read;
    for (const Fault& fault : FaultTable::Get().Due(trigger, feature, serial)) {
        Record::Get().Add("fault", fmt::format("{} {}", write ? "write" : "read", feature));
        if (fault.effect == Effect::Delay) {
            effects.SleepNs(fault.value);
        } else if (fault.effect == Effect::Detach) {
            effects.DetachCamera(serial, fault.value);
        } else if (fault.effect == Effect::Throw) {
            RaiseFault(fault);
        }
    }
}

bool JournalIsOn()
{
    return Record::Get().On();
}

void JournalRead(std::string_view feature, std::string_view range, std::string_view value)
{
    Record::Get().Add("read", fmt::format("{}{}={}", feature, range, value));
}

void JournalWrite(std::string_view feature, std::string_view value)
{
    Record::Get().Add("cam", fmt::format("{}={}", feature, value));
}

void JournalMode(std::string_view feature, std::string_view mode)
{
    Record::Get().Add("mode", fmt::format("{}:{}", feature, mode));
}

void JournalMode(std::string_view feature, std::string_view entry, std::string_view mode)
{
    Record::Get().Add("mode", fmt::format("{}.{}:{}", feature, entry, mode));
}

} // namespace injection
