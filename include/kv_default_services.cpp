/** Default host services, to start a host from. Compile this file into the host:
 *
 *      g++ -std=c++20 host.cpp kv_default_services.cpp -rdynamic -lgevplat
 *
 *  With it alone a host grabs with the camera as it is: every getter answers that nothing is
 *  configured, frames are received into heap memory, no signal ever comes, and errors and warnings
 *  go to standard error. The definitions are weak: a host replaces a service by defining it. Some
 *  belong together and are replaced together:
 *
 *  - SetFormat and GetFormat, SetBnum and GetBnum, the getters of the table, those of the IO box
 *  - KvGiMem__Init and KvGiMem__GetBufPtr
 *  - KvGi__CheckDynConfig with KvGi__CalcLutDynam and KvGi__GetLutDynam, which compute nothing here
 *
 *  Link the file itself. An archive does not do: the linker leaves out members that nothing refers
 *  to, and the driver refers to the services only once it is loaded. */
#include "kv_default_services.h"
#include "kv_host_services.h"
#include "kv_td_types.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <unistd.h>

int KvDefault::logLevel = 2;

namespace
{

std::uint32_t format = KvTd::kFormatMono8;
std::uint32_t bufferCount = 8;

struct Free {
    void operator()(unsigned char* memory) const { std::free(memory); }
};
struct FrameMemory {
    std::unique_ptr<unsigned char, Free> first;
    std::uint32_t count = 0;
    std::size_t stride = 0;
};
FrameMemory frameMemory;

} // namespace

#define KV_DEFAULT extern "C" __attribute__((weak))
#define KV_ANSWERS(Type, service, value)                                                           \
    KV_DEFAULT Type service                                                                        \
    {                                                                                              \
        return value;                                                                              \
    }
#define KV_IGNORES(service)                                                                        \
    KV_DEFAULT void service {}

// ---- configuration ------------------------------------------------------------------------------

KV_ANSWERS(const char*, KvGiMainCtx__GetModelStr(), "")
KV_ANSWERS(const char*, KvGiMainCtx__GetIdStr(), "")
KV_ANSWERS(std::uint32_t, KvGiMainCtx__GetActiveCamMask(), 0)
KV_ANSWERS(int, KvGiMainCtx__GetDatachunk(), 1500)
KV_ANSWERS(std::uint32_t, KvGiMainCtx__GetFormat(), format)
KV_ANSWERS(std::uint8_t, KvGiMainCtx__GetCformat(), 0)
KV_ANSWERS(int, KvGiMainCtx__GetOffsetX(), KvTd::kIntUnset)
KV_ANSWERS(int, KvGiMainCtx__GetOffsetY(), KvTd::kIntUnset)
KV_ANSWERS(int, KvGiMainCtx__GetWidth(), KvTd::kIntUnset)
KV_ANSWERS(int, KvGiMainCtx__GetHeight(), KvTd::kIntUnset)
KV_ANSWERS(float, KvGiMainCtx__GetFps(), KvTd::kFpsUnset)
KV_ANSWERS(float, KvGiMainCtx__GetExptMan(), KvTd::kExposureUnset)
KV_ANSWERS(float, KvGiMainCtx__GetGainMan(), KvTd::kGainUnset)
KV_ANSWERS(int, KvGiMainCtx__GetWbred(), KvTd::kIntUnset)
KV_ANSWERS(int, KvGiMainCtx__GetWbblu(), KvTd::kIntUnset)
KV_ANSWERS(int, KvGiMainCtx__GetRotate(), KvTd::kRotateUnset)
KV_ANSWERS(float, KvGiMainCtx__GetGamma(), KvTd::kGammaUnset)
KV_ANSWERS(std::uint16_t, KvGiMainCtx__GetLutArrCount(), 0)
KV_ANSWERS(std::uint16_t, KvGiMainCtx__GetLutBitSize(), 0)
KV_ANSWERS(const std::uint16_t*, KvGiMainCtx__GetLutDataU16(), nullptr)
KV_ANSWERS(float, KvGiMainCtx__GetAtbright(), KvTd::kExposureUnset)
KV_ANSWERS(float, KvGiMainCtx__GetGainlimsLow(), KvTd::kGainUnset)
KV_ANSWERS(float, KvGiMainCtx__GetGainlimsHigh(), KvTd::kGainUnset)
KV_ANSWERS(float, KvGiMainCtx__GetEtlimsLow(), KvTd::kExposureUnset)
KV_ANSWERS(float, KvGiMainCtx__GetEtlimsHigh(), KvTd::kExposureUnset)
KV_ANSWERS(std::uint32_t, KvGiMainCtx__GetSweepProf(), KvTd::kSweepUnset)
KV_ANSWERS(std::uint32_t, KvGiMainCtx__GetSweepGainMod(), KvTd::kSweepUnset)
KV_ANSWERS(std::uint32_t, KvGiMainCtx__GetSweepEtimeMod(), KvTd::kSweepUnset)
KV_ANSWERS(std::uint32_t, KvGiMainCtx__GetSweepLutMod(), KvTd::kSweepUnset)
KV_ANSWERS(int, KvGiMainCtx__GetTsadjns(), 0)
KV_ANSWERS(std::uint32_t, KvGiMainCtx__GetFnum(), 0)
KV_ANSWERS(std::uint32_t, KvGiMainCtx__GetBnum(), bufferCount)
KV_ANSWERS(int, KvGiMainCtx__GetIoboxNum(), 0)
KV_ANSWERS(int, KvGiMainCtx__GetIoboxPin(int), 0)
KV_ANSWERS(int, KvGiMainCtx__GetIoboxMod(int), 0)
KV_ANSWERS(int, KvGiMainCtx__GetIoboxSrc(int), 0)
KV_ANSWERS(int, KvGiMainCtx__GetIoboxInv(int), 0)
KV_ANSWERS(std::uint32_t, KvGiMainCtx__GetIoboxPar(int, int), KvTd::kIoboxParamUnset)

KV_DEFAULT void KvGiMainCtx__SetFormat(int forced)
{
    format = static_cast<std::uint32_t>(forced);
}

KV_DEFAULT void KvGiMainCtx__SetBnum(std::uint32_t buffers)
{
    bufferCount = buffers;
}

// ---- frame memory -------------------------------------------------------------------------------

KV_DEFAULT void KvGiMem__Init(std::uint32_t size, std::uint32_t)
{
    constexpr std::size_t kPage = 4096;
    frameMemory = {}; // what there was goes first: both together may not fit
    const std::uint32_t count = KvGiMainCtx__GetBnum();
    const std::size_t stride = (std::size_t{size} + kPage - 1) / kPage * kPage;
    frameMemory.first.reset(static_cast<unsigned char*>(std::aligned_alloc(kPage, stride * count)));
    if (frameMemory.first != nullptr) {
        std::memset(frameMemory.first.get(), 0, stride * count); // no page is missing later
        frameMemory.count = count;
        frameMemory.stride = stride;
    }
}

KV_DEFAULT void* KvGiMem__GetBufPtr(std::uint32_t index)
{
    return index < frameMemory.count ? frameMemory.first.get() + index * frameMemory.stride
                                     : nullptr;
}

KV_ANSWERS(int, KvGiMem__IsFactoryUsed(), 1)
KV_IGNORES(KvGiMem__SetActFsize(std::uint32_t))
KV_IGNORES(KvGiMemInst__Init(std::uint32_t, std::uint32_t, std::uint32_t))
KV_IGNORES(KvGiMemInst__SetActFsize(std::uint32_t, std::uint32_t))
KV_ANSWERS(int, KvGiMemInst__Trigger(std::uint32_t, int, std::uint64_t, void*, int), 0)

// ---- grab control, scenario, export -------------------------------------------------------------

KV_ANSWERS(int, KvGi__DoReconfig(int*), 0)
KV_ANSWERS(int, KvGi__CheckDynConfig(), 0)
KV_IGNORES(KvGi__SetNewCfgVendor())
KV_IGNORES(KvGi__SetNewCfgPlugin())
KV_IGNORES(KvGi__SetSignalAction(int))
KV_IGNORES(KvGi__SetTermSigProc())
KV_IGNORES(KvGi__ResetTermSigProc())
KV_IGNORES(KvGi__HaltUpdate(std::uint32_t, std::uint32_t, float))
KV_IGNORES(KvGi__HaltStop(std::uint32_t, std::uint32_t, float))
KV_IGNORES(KvGi__SetCurrFpsUs(std::uint32_t))
KV_IGNORES(KvGi__CommTriggerAll(std::uint64_t, std::uint32_t, std::uint32_t))
KV_IGNORES(KvGi__CalcLutDynam(void*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint8_t,
                              void*))
KV_IGNORES(KvGi__GetLutDynam(std::uint8_t, void*, int, void*))

KV_ANSWERS(int, KvSc__SetParamVal(std::uint32_t, const void*), 0)
KV_ANSWERS(int, KvSc__InstSetParamVal(std::uint32_t, std::uint32_t, const char*), 0)
KV_ANSWERS(int, KvSc__ProcExport(std::uint64_t), 0)

// ---- utilities and log --------------------------------------------------------------------------

KV_ANSWERS(std::uint32_t, KvUtl__CheckSignal(), KvTd::kSignalNone)
KV_IGNORES(KvUtl__UpdateGrabState(int))

KV_DEFAULT const timeval* KvUtl__TimeValDiff(const timeval* later, const timeval* earlier)
{
    static timeval difference;
    timersub(later, earlier, &difference);
    return &difference;
}

/** Both threads of a session come here: each line is one write, and no lock is taken. */
KV_DEFAULT void LogWrite(const char* source, int line, const char* function, int level,
                         const char* text, ...)
{
    if (level > KvDefault::logLevel) {
        return;
    }
    char out[1024];
    constexpr int kRoom = sizeof out - 1; // for the line feed
    int length = std::snprintf(out, kRoom, "%s:%i %s: ", source, line, function);
    length = std::clamp(length, 0, kRoom - 1);
    va_list values;
    va_start(values, text);
    length += std::max(
        0, std::vsnprintf(out + length, static_cast<std::size_t>(kRoom - length), text, values));
    va_end(values);
    length = std::min(length, kRoom - 1);
    out[length++] = '\n';
    if (write(STDERR_FILENO, out, static_cast<std::size_t>(length)) < 0) {
        return; // nobody could be informed
    }
}
