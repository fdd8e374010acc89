#include "benchmarks/round/bench_host.h"

#include "kv_host_services.h"
#include "kv_td_types.h"

#include <cstdarg>

namespace bench
{

Host& Host::Get()
{
    static Host host;
    return host;
}

} // namespace bench

static bench::Host& TheHost()
{
    return bench::Host::Get();
}

/** Takes each value that is handed over, so that the compiler can't drop its computation. */
static volatile std::uint64_t sink;

// Services that differ from the default ones.

int KvGiMainCtx__GetWidth()
{
    return TheHost().width;
}
int KvGiMainCtx__GetHeight()
{
    return TheHost().height;
}
std::uint32_t KvGiMainCtx__GetFnum()
{
    return TheHost().frames;
}
std::uint32_t KvGiMainCtx__GetBnum()
{
    return TheHost().buffers;
}
int KvGiMemInst__Trigger(std::uint32_t, int, std::uint64_t timeUs, void*, int)
{
    if (TheHost().triggered != nullptr) {
        TheHost().triggered(TheHost().context, timeUs);
    }
    return 0;
}
void KvGi__HaltStop(std::uint32_t width, std::uint32_t, float)
{
    sink = width;
}
void KvGi__CommTriggerAll(std::uint64_t timeUs, std::uint32_t, std::uint32_t)
{
    sink = timeUs;
}
int KvSc__SetParamVal(std::uint32_t id, const void* value)
{
    if (id == KvTd::kParamCameraTicks) {
        TheHost().ticks = *static_cast<const std::uint64_t*>(value);
    }
    sink = id;
    return 0;
}
int KvSc__ProcExport(std::uint64_t timeUs)
{
    sink = timeUs;
    if (TheHost().exported != nullptr && TheHost().exported(TheHost().context)) {
        TheHost().endAsked = true;
    }
    return 0;
}
std::uint32_t KvUtl__CheckSignal()
{
    return TheHost().endAsked ? KvTd::kSignalTerminate : KvTd::kSignalNone;
}
void LogWrite(const char*, int, const char*, int, const char*, ...) {}
