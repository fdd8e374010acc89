// KvSc: scenario and export. KvUtl: signals, time, grab state.

#include "services/exported.h"
#include "session/time_difference.h"

using kvgrab::Host;

extern "C" {

int KvSc__SetParamVal(std::uint32_t id, const void* value)
{
    return Host().Publish(id, value);
}

int KvSc__InstSetParamVal(std::uint32_t instance, std::uint32_t id, const char* text)
{
    if (id != KvTd::kParamCodec || text == nullptr) {
        return -1;
    }
    Host().parts.memory.InstanceSetCodec(instance, text);
    return 0;
}

int KvSc__ProcExport(std::uint64_t timeUs)
{
    return Host().Export(timeUs);
}

std::uint32_t KvUtl__CheckSignal(void)
{
    return static_cast<std::uint32_t>(Host().CheckSignal());
}

const struct timeval* KvUtl__TimeValDiff(const struct timeval* later, const struct timeval* earlier)
{
    static timeval difference;
    difference = later != nullptr && earlier != nullptr ? kvgrab::TimeDifference(*later, *earlier)
                                                        : timeval{};
    return &difference;
}

void KvUtl__UpdateGrabState(int state)
{
    Host().grabState = state;
}

} // extern "C"
