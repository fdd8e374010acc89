/** The services of the host: each notes its call and answers from the fields of FakeHost. */
#include "tests/support/fake_host.h"

#include "base/cancellation.h"
#include "sim_control.h"

#include <algorithm>
#include <cstdarg>
#include <malloc.h>
#include <mutex>
#include <sys/time.h>

using rig::FakeHost;

static FakeHost& Host()
{
    return FakeHost::Get();
}

template <class T> static T Answer(const char* service, T value)
{
    Host().Called(service);
    return Host().Answered(service, value);
}

/** For 2^bits values of an array that malloc gave? */
template <class T> static bool HasRoom(void* array, std::uint8_t bits)
{
    return malloc_usable_size(array) >= sizeof(T) << bits;
}

template <class T> static T Next(std::deque<T>& script)
{
    if (script.empty()) {
        return T{};
    }
    const T value = script.front();
    script.pop_front();
    return value;
}

extern "C" {

// The field is read after the call was noted, since a script may have changed it.
#define GETTER(Type, name, field)                                                                  \
    Type KvGiMainCtx__##name(void)                                                                 \
    {                                                                                              \
        Host().Called("KvGiMainCtx__" #name);                                                      \
        return Host().Answered("KvGiMainCtx__" #name, Host().field);                               \
    }

GETTER(const char*, GetModelStr, model)
GETTER(const char*, GetIdStr, id)
GETTER(std::uint32_t, GetActiveCamMask, activeCamMask)
GETTER(int, GetDatachunk, datachunk)
GETTER(std::uint32_t, GetFormat, format)
GETTER(std::uint8_t, GetCformat, cformat)
GETTER(int, GetOffsetX, offsetX)
GETTER(int, GetOffsetY, offsetY)
GETTER(int, GetWidth, width)
GETTER(int, GetHeight, height)
GETTER(float, GetFps, fps)
GETTER(float, GetExptMan, exptMan)
GETTER(float, GetGainMan, gainMan)
GETTER(int, GetWbred, wbred)
GETTER(int, GetWbblu, wbblu)
GETTER(int, GetRotate, rotate)
GETTER(float, GetGamma, gamma)
GETTER(std::uint16_t, GetLutBitSize, lutBitSize)
GETTER(float, GetAtbright, atbright)
GETTER(float, GetGainlimsLow, gainlimsLow)
GETTER(float, GetGainlimsHigh, gainlimsHigh)
GETTER(float, GetEtlimsLow, etlimsLow)
GETTER(float, GetEtlimsHigh, etlimsHigh)
GETTER(std::uint32_t, GetSweepProf, sweepProf)
GETTER(std::uint32_t, GetSweepGainMod, sweepGainMod)
GETTER(std::uint32_t, GetSweepEtimeMod, sweepEtimeMod)
GETTER(std::uint32_t, GetSweepLutMod, sweepLutMod)
GETTER(int, GetTsadjns, tsadjns)
GETTER(std::uint32_t, GetFnum, fnum)
GETTER(std::uint32_t, GetBnum, bnum)
#undef GETTER

std::uint16_t KvGiMainCtx__GetLutArrCount(void)
{
    return Answer("KvGiMainCtx__GetLutArrCount", static_cast<std::uint16_t>(Host().lut.size()));
}

const std::uint16_t* KvGiMainCtx__GetLutDataU16(void)
{
    return Answer<const std::uint16_t*>("KvGiMainCtx__GetLutDataU16", Host().lut.data());
}

void KvGiMainCtx__SetFormat(int format)
{
    Host().Called("KvGiMainCtx__SetFormat", "%i", format);
    Host().format = static_cast<std::uint32_t>(format);
}

void KvGiMainCtx__SetBnum(std::uint32_t buffers)
{
    Host().Called("KvGiMainCtx__SetBnum", "%u", buffers);
    Host().bnum = buffers;
}

int KvGiMainCtx__GetIoboxNum(void)
{
    return Answer("KvGiMainCtx__GetIoboxNum", static_cast<int>(Host().ioboxes.size()));
}

#define IOBOX_GETTER(name, field)                                                                  \
    int KvGiMainCtx__##name(int set)                                                               \
    {                                                                                              \
        Host().Called("KvGiMainCtx__" #name, "%i", set);                                           \
        return Host().Answered("KvGiMainCtx__" #name, Host().SetAt(set).field);                    \
    }

IOBOX_GETTER(GetIoboxPin, pin)
IOBOX_GETTER(GetIoboxMod, mode)
IOBOX_GETTER(GetIoboxSrc, source)
IOBOX_GETTER(GetIoboxInv, inverted)
#undef IOBOX_GETTER

std::uint32_t KvGiMainCtx__GetIoboxPar(int set, int index)
{
    Host().Called("KvGiMainCtx__GetIoboxPar", "%i, %i", set, index);
    return Host().Answered("KvGiMainCtx__GetIoboxPar", Host().SetAt(set).parameters[index]);
}

// ---- frame memory ------------------------------------------------------------------------------

void KvGiMem__Init(std::uint32_t size, std::uint32_t flags)
{
    Host().Called("KvGiMem__Init", "%u, %u", size, flags);
    Host().AllocateMemory(size);
}

void KvGiMem__SetActFsize(std::uint32_t size)
{
    Host().Called("KvGiMem__SetActFsize", "%u", size);
}

void* KvGiMem__GetBufPtr(std::uint32_t index)
{
    Host().Called("KvGiMem__GetBufPtr", "%u", index);
    return Host().Answered("KvGiMem__GetBufPtr", Host().BufferAt(index));
}

int KvGiMem__IsFactoryUsed(void)
{
    return Answer("KvGiMem__IsFactoryUsed", Host().factoryUsed);
}

void KvGiMemInst__Init(std::uint32_t instance, std::uint32_t size, std::uint32_t flags)
{
    Host().Called("KvGiMemInst__Init", "%u, %u, %u", instance, size, flags);
}

void KvGiMemInst__SetActFsize(std::uint32_t instance, std::uint32_t size)
{
    Host().Called("KvGiMemInst__SetActFsize", "%u, %u", instance, size);
}

int KvGiMemInst__Trigger(std::uint32_t instance, int reserved, std::uint64_t timeUs, void* image,
                         int flag)
{
    const char* const service = "KvGiMemInst__Trigger";
    if (Host().recording) {
        Host().Called(service, "%u, %i, %llu, %s, %i", instance, reserved,
                      static_cast<unsigned long long>(timeUs), Host().NameOf(image).c_str(), flag);
    } else {
        Host().Called(service);
    }
    if (Host().onTrigger) {
        Host().onTrigger(timeUs);
    }
    return Host().Answered(service, Next(Host().triggerResults));
}

// ---- grab control ------------------------------------------------------------------------------

int KvGi__DoReconfig(int* flag)
{
    Host().Called("KvGi__DoReconfig", "%i", *flag);
    if (Host().reconfigFlag != 0) {
        *flag = Host().reconfigFlag;
    }
    return Host().Answered("KvGi__DoReconfig", Host().reconfigResult);
}

int KvGi__CheckDynConfig(void)
{
    Host().Called("KvGi__CheckDynConfig");
    return Host().Answered("KvGi__CheckDynConfig", Host().dynConfig);
}

void KvGi__SetNewCfgVendor(void)
{
    Host().Called("KvGi__SetNewCfgVendor");
}

void KvGi__SetNewCfgPlugin(void)
{
    Host().Called("KvGi__SetNewCfgPlugin");
}

void KvGi__SetSignalAction(int action)
{
    Host().Called("KvGi__SetSignalAction", "%i", action);
}

void KvGi__SetTermSigProc(void)
{
    Host().Called("KvGi__SetTermSigProc");
}

void KvGi__ResetTermSigProc(void)
{
    Host().Called("KvGi__ResetTermSigProc");
}

void KvGi__HaltUpdate(std::uint32_t width, std::uint32_t height, float temperature)
{
    ++Host().haltUpdates;
    Host().Called("KvGi__HaltUpdate", "%u, %u, %.1f", width, height,
                  static_cast<double>(temperature));
}

void KvGi__HaltStop(std::uint32_t width, std::uint32_t height, float temperature)
{
    Host().Called("KvGi__HaltStop", "%u, %u, %.1f", width, height,
                  static_cast<double>(temperature));
}

void KvGi__SetCurrFpsUs(std::uint32_t periodUs)
{
    Host().Called("KvGi__SetCurrFpsUs", "%u", periodUs);
}

void KvGi__CommTriggerAll(std::uint64_t timeUs, std::uint32_t latencyUs, std::uint32_t exposureUs)
{
    Host().Called("KvGi__CommTriggerAll", "%llu, %u, %u", static_cast<unsigned long long>(timeUs),
                  latencyUs, exposureUs);
}

void KvGi__CalcLutDynam(void* image, std::uint32_t width, std::uint32_t height,
                        std::uint32_t lineLength, std::uint8_t bits, void* cdf)
{
    const bool fits = HasRoom<std::uint32_t>(cdf, bits);
    if (fits) {
        std::fill_n(static_cast<std::uint32_t*>(cdf), std::size_t{1} << bits, 0);
    }
    Host().statistics = cdf;
    if (Host().recording) {
        Host().Called("KvGi__CalcLutDynam", "%s, %u, %u, %u, %u%s", Host().NameOf(image).c_str(),
                      width, height, lineLength, bits, fits ? "" : ", too small");
    } else {
        Host().Called("KvGi__CalcLutDynam");
    }
}

void KvGi__GetLutDynam(std::uint8_t bits, void* cdf, int outBits, void* lut)
{
    const bool fits = HasRoom<std::uint16_t>(lut, bits);
    if (fits && Host().dynamicLut) {
        Host().dynamicLut(bits, static_cast<std::uint16_t*>(lut));
    }
    Host().Called("KvGi__GetLutDynam", "%u, %s, %i%s", bits,
                  cdf == Host().statistics ? "statistics" : "something else", outBits,
                  fits ? "" : ", too small");
}

// ---- scenario and export -----------------------------------------------------------------------

int KvSc__SetParamVal(std::uint32_t id, const void* value)
{
    const char* const service = "KvSc__SetParamVal";
    switch (id) {
    case KvTd::kParamCodec:
        Host().Called(service, "%u, %s", id, static_cast<const char*>(value));
        break;
    case KvTd::kParamGain:
    case KvTd::kParamExposure:
        Host().Called(service, "%u, %.2f", id,
                      static_cast<double>(*static_cast<const float*>(value)));
        break;
    case KvTd::kParamCameraTicks:
    case KvTd::kParamFrameTime:
        Host().Called(service, "%u, %llu", id,
                      static_cast<unsigned long long>(*static_cast<const std::uint64_t*>(value)));
        break;
    default:
        Host().Called(service, "%u, %u", id, *static_cast<const std::uint32_t*>(value));
        break;
    }
    return Host().Answered(service, 0);
}

int KvSc__InstSetParamVal(std::uint32_t instance, std::uint32_t id, const char* text)
{
    Host().Called("KvSc__InstSetParamVal", "%u, %u, %s", instance, id, text);
    return Host().Answered("KvSc__InstSetParamVal", 0);
}

int KvSc__ProcExport(std::uint64_t timeUs)
{
    ++Host().exported;
    Host().Called("KvSc__ProcExport", "%llu", static_cast<unsigned long long>(timeUs));
    return Host().Answered("KvSc__ProcExport", 0);
}

// ---- utilities and log -------------------------------------------------------------------------

std::uint32_t KvUtl__CheckSignal(void)
{
    Host().Called("KvUtl__CheckSignal");
    return Host().Answered("KvUtl__CheckSignal", Next(Host().signals));
}

const struct timeval* KvUtl__TimeValDiff(const struct timeval* later, const struct timeval* earlier)
{
    static timeval difference;
    Host().Called("KvUtl__TimeValDiff");
    timersub(later, earlier, &difference);
    return &difference;
}

void KvUtl__UpdateGrabState(int state)
{
    Host().Called("KvUtl__UpdateGrabState", "%i", state);
}

void LogWrite(const char* sourceFile, int, const char* function, int level, const char* format, ...)
{
    if (Host().onLog) {
        Host().onLog(format);
    }
    // Both threads of a session come here, and the control thread may be cancelled on its way.
    static std::mutex mutex;
    const base::CancellationGuard hold;
    const std::lock_guard lock(mutex);
    ++Host().logLines;
    if (!Host().recording) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    sim::AddJournal("log" + std::to_string(level), std::string(sourceFile) + ":" + function + ": " +
                                                       FakeHost::Text(format, arguments));
    va_end(arguments);
    Host().formats.emplace_back(format);
}

} // extern "C"
