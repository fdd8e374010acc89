/** The services of the host: each records its call and answers from the fields of FakeHost. */
#include "tests/support/fake_host.h"

#include "base/cancellation.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <malloc.h>
#include <mutex>
#include <sys/time.h>

using rig::FakeHost;

static FakeHost& Host()
{
    return FakeHost::Get();
}

/** Whether an array that malloc gave has room for 2^bits values. */
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

// The arguments behind the macros' own are recorded. The answer is taken after the call was
// recorded, since a script may have changed it.
#define RECORDS(service, parameters, ...)                                                          \
    void service parameters                                                                        \
    {                                                                                              \
        Host().Called(#service __VA_OPT__(, ) __VA_ARGS__);                                        \
    }
#define ANSWERS(Type, service, parameters, value, ...)                                             \
    Type service parameters                                                                        \
    {                                                                                              \
        Host().Called(#service __VA_OPT__(, ) __VA_ARGS__);                                        \
        return Host().Answered<Type>(#service, value);                                             \
    }

extern "C" {

// ---- configuration -----------------------------------------------------------------------------

#define GETTER(Type, getter, field, unset) ANSWERS(Type, KvGiMainCtx__##getter, (), Host().field)
RIG_GETTERS(GETTER)
ANSWERS(std::uint16_t, KvGiMainCtx__GetLutArrCount, (),
        static_cast<std::uint16_t>(Host().lut.size()))
ANSWERS(const std::uint16_t*, KvGiMainCtx__GetLutDataU16, (), Host().lut.data())
ANSWERS(int, KvGiMainCtx__GetIoboxNum, (), static_cast<int>(Host().ioboxes.size()))
ANSWERS(int, KvGiMainCtx__GetIoboxPin, (int set), Host().SetAt(set).pin, set)
ANSWERS(int, KvGiMainCtx__GetIoboxMod, (int set), Host().SetAt(set).mode, set)
ANSWERS(int, KvGiMainCtx__GetIoboxSrc, (int set), Host().SetAt(set).source, set)
ANSWERS(int, KvGiMainCtx__GetIoboxInv, (int set), Host().SetAt(set).inverted, set)
ANSWERS(std::uint32_t, KvGiMainCtx__GetIoboxPar, (int set, int index),
        Host().SetAt(set).parameters[index], set, index)

void KvGiMainCtx__SetFormat(int format)
{
    Host().Called("KvGiMainCtx__SetFormat", format);
    Host().format = static_cast<std::uint32_t>(format);
}

void KvGiMainCtx__SetBnum(std::uint32_t buffers)
{
    Host().Called("KvGiMainCtx__SetBnum", buffers);
    Host().bnum = buffers;
}

// ---- frame memory ------------------------------------------------------------------------------

void KvGiMem__Init(std::uint32_t size, std::uint32_t flags)
{
    Host().Called("KvGiMem__Init", size, flags);
    Host().AllocateMemory(size);
}

RECORDS(KvGiMem__SetActFsize, (std::uint32_t size), size)
ANSWERS(void*, KvGiMem__GetBufPtr, (std::uint32_t index), Host().BufferAt(index), index)
ANSWERS(int, KvGiMem__IsFactoryUsed, (), Host().factoryUsed)
RECORDS(KvGiMemInst__Init, (std::uint32_t instance, std::uint32_t size, std::uint32_t flags),
        instance, size, flags)
RECORDS(KvGiMemInst__SetActFsize, (std::uint32_t instance, std::uint32_t size), instance, size)

int KvGiMemInst__Trigger(std::uint32_t instance, int reserved, std::uint64_t timeUs, void* image,
                         int flag)
{
    const char* const service = "KvGiMemInst__Trigger";
    Host().Called(service, instance, reserved, timeUs, Host().NameOf(image), flag);
    if (Host().onTrigger) {
        Host().onTrigger(timeUs);
    }
    return Host().Answered(service, Next(Host().triggerResults));
}

// ---- grab control ------------------------------------------------------------------------------

int KvGi__DoReconfig(int* flag)
{
    Host().Called("KvGi__DoReconfig", *flag);
    if (Host().reconfigFlag != 0) {
        *flag = Host().reconfigFlag;
    }
    return Host().Answered("KvGi__DoReconfig", Host().reconfigResult);
}

void KvGi__HaltUpdate(std::uint32_t width, std::uint32_t height, float temperature)
{
    ++Host().haltUpdates;
    Host().Called("KvGi__HaltUpdate", width, height, fmt::format("{:.1f}", temperature));
}

ANSWERS(int, KvGi__CheckDynConfig, (), Host().dynConfig)
RECORDS(KvGi__SetNewCfgVendor, ())
RECORDS(KvGi__SetNewCfgPlugin, ())
RECORDS(KvGi__SetSignalAction, (int action), action)
RECORDS(KvGi__SetTermSigProc, ())
RECORDS(KvGi__ResetTermSigProc, ())
RECORDS(KvGi__HaltStop, (std::uint32_t width, std::uint32_t height, float temperature), width,
        height, fmt::format("{:.1f}", temperature))
RECORDS(KvGi__SetCurrFpsUs, (std::uint32_t periodUs), periodUs)
RECORDS(KvGi__CommTriggerAll,
        (std::uint64_t timeUs, std::uint32_t latencyUs, std::uint32_t exposureUs), timeUs,
        latencyUs, exposureUs)

void KvGi__CalcLutDynam(void* image, std::uint32_t width, std::uint32_t height,
                        std::uint32_t lineLength, std::uint8_t bits, void* cdf)
{
    const bool fits = HasRoom<std::uint32_t>(cdf, bits);
    if (fits) {
        std::fill_n(static_cast<std::uint32_t*>(cdf), std::size_t{1} << bits, 0);
    }
    Host().statistics = cdf;
    Host().Called("KvGi__CalcLutDynam", Host().NameOf(image), width, height, lineLength,
                  fmt::format("{}{}", bits, fits ? "" : ", too small"));
}

void KvGi__GetLutDynam(std::uint8_t bits, void* cdf, int outBits, void* lut)
{
    const bool fits = HasRoom<std::uint16_t>(lut, bits);
    if (fits && Host().dynamicLut) {
        Host().dynamicLut(bits, static_cast<std::uint16_t*>(lut));
    }
    Host().Called("KvGi__GetLutDynam", bits,
                  cdf == Host().statistics ? "statistics" : "something else",
                  fmt::format("{}{}", outBits, fits ? "" : ", too small"));
}

// ---- scenario and export -----------------------------------------------------------------------

int KvSc__SetParamVal(std::uint32_t id, const void* value)
{
    const char* const service = "KvSc__SetParamVal";
    switch (id) {
    case KvTd::kParamCodec:
        Host().Called(service, id, static_cast<const char*>(value));
        break;
    case KvTd::kParamGain:
    case KvTd::kParamExposure:
        Host().Called(service, id, fmt::format("{:.2f}", *static_cast<const float*>(value)));
        break;
    case KvTd::kParamCameraTicks:
    case KvTd::kParamFrameTime:
        Host().Called(service, id, *static_cast<const std::uint64_t*>(value));
        break;
    default:
        Host().Called(service, id, *static_cast<const std::uint32_t*>(value));
        break;
    }
    return Host().Answered(service, 0);
}

ANSWERS(int, KvSc__InstSetParamVal, (std::uint32_t instance, std::uint32_t id, const char* text), 0,
        instance, id, text)

int KvSc__ProcExport(std::uint64_t timeUs)
{
    ++Host().exported;
    Host().Called("KvSc__ProcExport", timeUs);
    return Host().Answered("KvSc__ProcExport", 0);
}

// ---- utilities and log -------------------------------------------------------------------------

ANSWERS(std::uint32_t, KvUtl__CheckSignal, (), Next(Host().signals))
RECORDS(KvUtl__UpdateGrabState, (int state), state)

const struct timeval* KvUtl__TimeValDiff(const struct timeval* later, const struct timeval* earlier)
{
    static timeval difference;
    Host().Called("KvUtl__TimeValDiff");
    timersub(later, earlier, &difference);
    return &difference;
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
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    sim::AddJournal(fmt::format("log{}", level),
                    fmt::format("{}:{}: {}", sourceFile, function, text));
    Host().formats.emplace_back(format);
}

} // extern "C"
