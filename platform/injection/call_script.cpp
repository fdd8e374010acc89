#include "injection/call_script.h"

#include "injection/faults.h"
#include "injection/record.h"
#include "sim/network.h"

namespace sim
{

std::optional<std::int64_t> BeginCall(const char* call, const char* serial)
{
    Record::Get().CountCall();
    std::optional<std::int64_t> failed;
    if (FaultTable::Get().Empty()) {
        return failed;
    }
    NetworkClock& clock = Network::Get().Time();
    for (const Fault& fault : FaultTable::Get().Due(Trigger::Call, call, serial)) {
        Record::Get().Add("fault", call);
        if (fault.effect == Effect::Fail) {
            failed = fault.value;
        } else if (fault.effect == Effect::Delay) {
            clock.SleepNs(fault.value);
        } else if (fault.effect == Effect::Detach) {
            if (const auto camera = Network::Get().Find(serial)) {
                camera->Detach(clock.NowNs(), fault.value);
            }
        }
    }
    return failed;
}

bool JournalIsOn()
{
    return Record::Get().On();
}

void JournalCall(const char* call, const std::string& arguments, const std::string& result)
{
    Record::Get().Add("gev", std::string(call) + "(" + arguments + ")=" + result);
}

} // namespace sim
