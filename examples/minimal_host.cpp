/** The smallest host that grabs: ten frames from a simulated camera, in its own colours.
 *
 *  A host exports the services of kv_host_services.h from its program (linked with -rdynamic),
 *  loads the driver and calls KvLibProc once per device session. This one has no configuration:
 *  every getter gives the value for "not configured", so that the camera stays as it is, but for
 *  the pixel format, the number of frames and the buffers. kvgrab is the same thing grown up. */
#include "kv_host_services.h"
#include "kv_td_types.h"
#include "sim_control.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>

namespace
{

constexpr std::uint32_t kBuffers = 4;
constexpr std::uint32_t kFrames = 10;
constexpr std::size_t kPage = 4096;

unsigned char* frameMemory; // kBuffers evenly spaced buffers
std::size_t bufferStride;
void* newestImage; // triggered last

} // namespace

#pragma GCC visibility push(default)
extern "C" {

// ---- what the camera is to do -----------------------------------------------------------------

const char* KvGiMainCtx__GetModelStr()
{
    return "";
} // any model
const char* KvGiMainCtx__GetIdStr()
{
    return "";
}
std::uint32_t KvGiMainCtx__GetActiveCamMask()
{
    return 0;
}
int KvGiMainCtx__GetDatachunk()
{
    return 1500;
}
std::uint32_t KvGiMainCtx__GetFormat()
{
    return KvTd::kFormatMono8;
}
void KvGiMainCtx__SetFormat(int) {}
std::uint8_t KvGiMainCtx__GetCformat()
{
    return 0;
}
int KvGiMainCtx__GetOffsetX()
{
    return KvTd::kIntUnset;
}
int KvGiMainCtx__GetOffsetY()
{
    return KvTd::kIntUnset;
}
int KvGiMainCtx__GetWidth()
{
    return KvTd::kIntUnset;
}
int KvGiMainCtx__GetHeight()
{
    return KvTd::kIntUnset;
}
float KvGiMainCtx__GetFps()
{
    return KvTd::kFpsUnset;
}
float KvGiMainCtx__GetExptMan()
{
    return KvTd::kExposureUnset;
}
float KvGiMainCtx__GetGainMan()
{
    return KvTd::kGainUnset;
}
int KvGiMainCtx__GetWbred()
{
    return KvTd::kIntUnset;
}
int KvGiMainCtx__GetWbblu()
{
    return KvTd::kIntUnset;
}
int KvGiMainCtx__GetRotate()
{
    return KvTd::kRotateUnset;
}
float KvGiMainCtx__GetGamma()
{
    return KvTd::kGammaUnset;
}
std::uint16_t KvGiMainCtx__GetLutArrCount()
{
    return 0;
}
std::uint16_t KvGiMainCtx__GetLutBitSize()
{
    return 0;
}
const std::uint16_t* KvGiMainCtx__GetLutDataU16()
{
    return nullptr;
}
float KvGiMainCtx__GetAtbright()
{
    return KvTd::kExposureUnset;
}
float KvGiMainCtx__GetGainlimsLow()
{
    return KvTd::kGainUnset;
}
float KvGiMainCtx__GetGainlimsHigh()
{
    return KvTd::kGainUnset;
}
float KvGiMainCtx__GetEtlimsLow()
{
    return KvTd::kExposureUnset;
}
float KvGiMainCtx__GetEtlimsHigh()
{
    return KvTd::kExposureUnset;
}
std::uint32_t KvGiMainCtx__GetSweepProf()
{
    return KvTd::kSweepUnset;
}
std::uint32_t KvGiMainCtx__GetSweepGainMod()
{
    return KvTd::kSweepUnset;
}
std::uint32_t KvGiMainCtx__GetSweepEtimeMod()
{
    return KvTd::kSweepUnset;
}
std::uint32_t KvGiMainCtx__GetSweepLutMod()
{
    return KvTd::kSweepUnset;
}
int KvGiMainCtx__GetTsadjns()
{
    return 0;
}
std::uint32_t KvGiMainCtx__GetFnum()
{
    return kFrames;
}
std::uint32_t KvGiMainCtx__GetBnum()
{
    return kBuffers;
}
void KvGiMainCtx__SetBnum(std::uint32_t) {}
int KvGiMainCtx__GetIoboxNum()
{
    return 0;
}
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

// ---- where the frames go ------------------------------------------------------------------------

void KvGiMem__Init(std::uint32_t size, std::uint32_t)
{
    bufferStride = (size + kPage - 1) / kPage * kPage;
    std::free(frameMemory);
    frameMemory = static_cast<unsigned char*>(std::aligned_alloc(kPage, bufferStride * kBuffers));
}
void KvGiMem__SetActFsize(std::uint32_t) {}
void* KvGiMem__GetBufPtr(std::uint32_t index)
{
    return index < kBuffers && frameMemory != nullptr ? frameMemory + index * bufferStride
                                                      : nullptr;
}
int KvGiMem__IsFactoryUsed()
{
    return 1;
}
void KvGiMemInst__Init(std::uint32_t, std::uint32_t, std::uint32_t) {}
void KvGiMemInst__SetActFsize(std::uint32_t, std::uint32_t) {}
int KvGiMemInst__Trigger(std::uint32_t, int, std::uint64_t, void* image, int)
{
    newestImage = image;
    return 0;
}
int KvSc__ProcExport(std::uint64_t timeUs)
{
    // The image may be used until this returns.
    std::printf("frame at %llu us, first pixel %u\n", static_cast<unsigned long long>(timeUs),
                static_cast<unsigned char*>(newestImage)[0]);
    return 0;
}

// ---- what the driver tells and asks -------------------------------------------------------------

int KvGi__DoReconfig(int*)
{
    return 0;
}
int KvGi__CheckDynConfig()
{
    return 0;
}
void KvGi__SetNewCfgVendor() {}
void KvGi__SetNewCfgPlugin() {}
void KvGi__SetSignalAction(int) {}
void KvGi__SetTermSigProc() {}
void KvGi__ResetTermSigProc() {}
void KvGi__HaltUpdate(std::uint32_t, std::uint32_t, float) {}
void KvGi__HaltStop(std::uint32_t, std::uint32_t, float) {}
void KvGi__SetCurrFpsUs(std::uint32_t) {}
void KvGi__CommTriggerAll(std::uint64_t, std::uint32_t, std::uint32_t) {}
void KvGi__CalcLutDynam(void*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint8_t, void*) {}
void KvGi__GetLutDynam(std::uint8_t, void*, int, void*) {}
int KvSc__SetParamVal(std::uint32_t, const void*)
{
    return 0;
}
int KvSc__InstSetParamVal(std::uint32_t, std::uint32_t, const char*)
{
    return 0;
}
std::uint32_t KvUtl__CheckSignal()
{
    return KvTd::kSignalNone;
}
const timeval* KvUtl__TimeValDiff(const timeval* later, const timeval* earlier)
{
    static timeval difference;
    timersub(later, earlier, &difference);
    return &difference;
}
void KvUtl__UpdateGrabState(int) {}

void LogWrite(const char* source, int, const char* function, int level, const char* format, ...)
{
    if (level > 2) {
        return; // errors and warnings only
    }
    std::fprintf(stderr, "%s %s: ", source, function);
    va_list values;
    va_start(values, format);
    std::vfprintf(stderr, format, values);
    va_end(values);
    std::fputc('\n', stderr);
}

} // extern "C"
#pragma GCC visibility pop

/** Usage: minimal_host [DRIVER-LIBRARY] */
int main(int argc, char** argv)
{
    sim::AddDefaultCameras(); // without this line: the cameras on the network
    const char* const path = argc > 1 ? argv[1] : "libdriver-dalsa.so.0";
    void* const driver = dlopen(path, RTLD_LAZY);
    if (driver == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    const auto session = reinterpret_cast<int (*)()>(dlsym(driver, "KvLibProc"));
    const int exitCode = session != nullptr ? session() : 1;
    std::printf("session ended with %i\n", exitCode);
    dlclose(driver);
    std::free(frameMemory);
    return exitCode == KvTd::kExitDone ? 0 : 1;
}
