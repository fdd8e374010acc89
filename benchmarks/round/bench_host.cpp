#include "benchmarks/round/bench_host.h"

#include "kv_host_services.h"
#include "kv_td_types.h"

#include <cstdarg>
#include <sys/time.h>

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

/** So that no value that is handed over can be left out. */
static volatile std::uint64_t sink;

extern "C" {

#define UNSET(Type, name, value)                                                                   \
    Type KvGiMainCtx__##name(void)                                                                 \
    {                                                                                              \
        return value;                                                                              \
    }
UNSET(const char*, GetModelStr, "")
UNSET(const char*, GetIdStr, "")
UNSET(std::uint32_t, GetActiveCamMask, 0)
UNSET(int, GetDatachunk, 1500)
UNSET(std::uint32_t, GetFormat, KvTd::kFormatMono8)
UNSET(std::uint8_t, GetCformat, 0)
UNSET(int, GetOffsetX, KvTd::kIntUnset)
UNSET(int, GetOffsetY, KvTd::kIntUnset)
UNSET(int, GetWidth, TheHost().width)
UNSET(int, GetHeight, TheHost().height)
UNSET(float, GetFps, KvTd::kFpsUnset)
UNSET(float, GetExptMan, KvTd::kExposureUnset)
UNSET(float, GetGainMan, KvTd::kGainUnset)
UNSET(int, GetWbred, KvTd::kIntUnset)
UNSET(int, GetWbblu, KvTd::kIntUnset)
UNSET(int, GetRotate, KvTd::kRotateUnset)
UNSET(float, GetGamma, KvTd::kGammaUnset)
UNSET(std::uint16_t, GetLutArrCount, 0)
UNSET(std::uint16_t, GetLutBitSize, 0)
UNSET(const std::uint16_t*, GetLutDataU16, nullptr)
UNSET(float, GetAtbright, KvTd::kExposureUnset)
UNSET(float, GetGainlimsLow, KvTd::kGainUnset)
UNSET(float, GetGainlimsHigh, KvTd::kGainUnset)
UNSET(float, GetEtlimsLow, KvTd::kExposureUnset)
UNSET(float, GetEtlimsHigh, KvTd::kExposureUnset)
UNSET(std::uint32_t, GetSweepProf, KvTd::kSweepUnset)
UNSET(std::uint32_t, GetSweepGainMod, KvTd::kSweepUnset)
UNSET(std::uint32_t, GetSweepEtimeMod, KvTd::kSweepUnset)
UNSET(std::uint32_t, GetSweepLutMod, KvTd::kSweepUnset)
UNSET(int, GetTsadjns, 0)
UNSET(std::uint32_t, GetFnum, TheHost().frames)
UNSET(std::uint32_t, GetBnum, TheHost().buffers)
UNSET(int, GetIoboxNum, 0)
#undef UNSET

void KvGiMainCtx__SetFormat(int) {}
void KvGiMainCtx__SetBnum(std::uint32_t) {}
int KvGiMainCtx__GetIoboxPin(int)
{
    return 0;
}
int KvGiMainCtx__GetIoboxMod(int)
{
    return 0;
}
int KvGiMainCtx__GetIoboxSrc(int)
{
    return 0;
}
int KvGiMainCtx__GetIoboxInv(int)
{
    return 0;
}
std::uint32_t KvGiMainCtx__GetIoboxPar(int, int)
{
    return KvTd::kIoboxParamUnset;
}

void KvGiMem__Init(std::uint32_t size, std::uint32_t)
{
    constexpr std::size_t kPage = 4096;
    TheHost().stride = (std::size_t{size} + kPage - 1) / kPage * kPage;
    TheHost().memory.resize(TheHost().stride * TheHost().buffers);
}
void KvGiMem__SetActFsize(std::uint32_t) {}
void* KvGiMem__GetBufPtr(std::uint32_t index)
{
    return index < TheHost().buffers ? TheHost().memory.data() + index * TheHost().stride : nullptr;
}
int KvGiMem__IsFactoryUsed(void)
{
    return 1;
}
void KvGiMemInst__Init(std::uint32_t, std::uint32_t, std::uint32_t) {}
void KvGiMemInst__SetActFsize(std::uint32_t, std::uint32_t) {}
int KvGiMemInst__Trigger(std::uint32_t, int, std::uint64_t timeUs, void*, int)
{
    if (TheHost().triggered != nullptr) {
        TheHost().triggered(TheHost().context, timeUs);
    }
    return 0;
}

int KvGi__DoReconfig(int*)
{
    return 0;
}
int KvGi__CheckDynConfig(void)
{
    return 0;
}
void KvGi__SetNewCfgVendor(void) {}
void KvGi__SetNewCfgPlugin(void) {}
void KvGi__SetSignalAction(int) {}
void KvGi__SetTermSigProc(void) {}
void KvGi__ResetTermSigProc(void) {}
void KvGi__HaltUpdate(std::uint32_t, std::uint32_t, float) {}
void KvGi__HaltStop(std::uint32_t width, std::uint32_t, float)
{
    sink = width;
}
void KvGi__SetCurrFpsUs(std::uint32_t) {}
void KvGi__CommTriggerAll(std::uint64_t timeUs, std::uint32_t, std::uint32_t)
{
    sink = timeUs;
}
void KvGi__CalcLutDynam(void*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint8_t, void*) {}
void KvGi__GetLutDynam(std::uint8_t, void*, int, void*) {}

int KvSc__SetParamVal(std::uint32_t id, const void* value)
{
    if (id == KvTd::kParamCameraTicks) {
        TheHost().ticks = *static_cast<const std::uint64_t*>(value);
    }
    sink = id;
    return 0;
}
int KvSc__InstSetParamVal(std::uint32_t, std::uint32_t, const char*)
{
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

std::uint32_t KvUtl__CheckSignal(void)
{
    return TheHost().endAsked ? KvTd::kSignalTerminate : KvTd::kSignalNone;
}
const struct timeval* KvUtl__TimeValDiff(const struct timeval* later, const struct timeval* earlier)
{
    static timeval difference;
    timersub(later, earlier, &difference);
    return &difference;
}
void KvUtl__UpdateGrabState(int) {}

void LogWrite(const char*, int, const char*, int, const char*, ...) {}

} // extern "C"
