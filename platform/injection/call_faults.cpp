#include "injection/call_faults.h"

#include "injection/effects.h"
#include "injection/faults.h"
#include "injection/record.h"

#include <fmt/format.h>

namespace injection
{

std::optional<std::int64_t> BeginCall(const char* call, const char* serial)
{
    Record::Get().CountCall();
    std::optional<std::int64_t> failed;
    if (FaultTable::Get().Empty()) {
        return failed;
    }
    for (const Fault& fault : FaultTable::Get().Due(Trigger::Call, call, serial)) {
        Record::Get().Add("fault", call);
        if (fault.effect == Effect::Fail) {
            failed = fault.value;
        } else if (fault.effect == Effect::Delay) {
            RegisteredEffects().SleepNs(fault.value);
        } else if (fault.effect == Effect::Detach) {
            RegisteredEffects().DetachCamera(serial, fault.value);
        }
    }
    return failed;
}

void JournalCall(const char* call, std::string_view arguments, std::string_view result)
{
    Record::Get().Add("gev", fmt::format("{}({})={}", call, arguments, result));
}

} // namespace injection
