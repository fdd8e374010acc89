/** The dynamic LUT: a table that the host computes from the pictures, one step a frame.
 *
 *  `usrSignalPending` is the step. A request sets 1; the loop moves it to 2 behind the next good
 *  frame; 2 and 3 wait for a clean picture; 4 computes; 5 writes the table; 8 ends. While
 *  `reconfigState` is 6 the session runs with 12 bits for the computation alone, and 7 brings it
 *  back to 8 bits, where the table is written. */
#include "kv_host_services.h"
#include "kv_td_excam.h"
#include "kv_td_log.h"
#include "kv_td_proc.h"

#include <cstdlib>

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_proc";

enum Step : std::uint32_t {
    kIdle = 0,
    kRequested = 1,
    kWaitTwo = 2,
    kWaitOne = 3,
    kCalculate = 4,
    kApply = 5,
    kFinish = 8,
};

static constexpr std::int32_t kNoExcursion = 0;
static constexpr std::int32_t kInTwelveBits = 6;
static constexpr std::int32_t kBackToEightBits = 7;

void CCamProc::ProcDynamLut(CExCam* cam)
{
    switch (usrSignalPending) {
    case kRequested:
        if (reconfigState == kInTwelveBits) {
            freeDynamLut(); // they are too small for 12 bits
        }
        return;
    case kWaitTwo:
        KV_LOG(3, "dynamic LUT is waiting for new clear picture 2 frames yet");
        usrSignalPending = kWaitOne;
        return;
    case kWaitOne:
        KV_LOG(3, "dynamic LUT is waiting for new clear picture 1 frame yet");
        usrSignalPending = kCalculate;
        return;
    case kCalculate:
        if (!calculateDynamLut(KV_HERE, cam) || reconfigState != kNoExcursion) {
            return;
        }
        [[fallthrough]];
    case kApply:
        if (dynLut != nullptr) {
            ProcParametrizeCamManLUT(cam, true, true, nullptr);
            KV_LOG(3, "continue operation with new LUT (dynamically calculated)...");
        }
        if (reconfigState == kNoExcursion) {
            usrSignalPending = kIdle;
            return;
        }
        [[fallthrough]];
    case kFinish:
        if (reconfigState == kBackToEightBits) {
            reconfigState = kNoExcursion;
            freeDynamLut();
        }
        usrSignalPending = kIdle;
        return;
    default:
        return;
    }
}

/** Computes the table. False: there was no memory for it, and the request is dropped. */
bool CCamProc::calculateDynamLut(const LogSite& site, CExCam* cam)
{
    const std::uint32_t cdfCount = 1U << pixelBits;
    const std::uint32_t lutCount = 1U << dataBits;
    // Ours: an array that was made for fewer bits is made again, since the host fills all of it.
    // DynamicLut.ArraysGrowWithTheFormat
    if (dynCdf == nullptr || dynCdfCount < cdfCount) {
        std::free(dynCdf);
        dynCdf = static_cast<std::uint32_t*>(std::malloc(cdfCount * sizeof(std::uint32_t)));
        dynCdfCount = cdfCount;
        KV_LOG_AT(site, 3, "allocated CDF array for %u bits pixel", pixelBits);
    }
    if (dynLut == nullptr || dynLutCount < lutCount) {
        std::free(dynLut);
        dynLut = static_cast<std::uint16_t*>(std::malloc(lutCount * sizeof(std::uint16_t)));
        KV_LOG_AT(site, 3, "allocated LUT array for %u bits pixel", dataBits);
    }
    dynLutCount = lutCount; // a table of fewer bits leaves the rest of a larger array alone
    if (dynCdf == nullptr || dynLut == nullptr) {
        freeDynamLut();
        usrSignalPending = kIdle;
        return false;
    }
    KvGi__CalcLutDynam(currImage, roiWidth, roiHeight, roiWidth, pixelBits, dynCdf);
    if (reconfigState == kInTwelveBits) {
        reconfigState = kBackToEightBits;
        lastSignal = kSignalUsr2; // this round's reaction to signals goes back to 8 bits
        cam->ExStopCapture();
    }
    usrSignalPending = kApply;
    KvGi__GetLutDynam(dataBits, dynCdf, 12, dynLut);
    KV_LOG_AT(site, 3, "a new LUT was dynamically calculated...");
    return true;
}

void CCamProc::freeDynamLut()
{
    std::free(dynLut);
    std::free(dynCdf);
    dynLut = nullptr;
    dynCdf = nullptr;
    dynCdfCount = 0;
    dynLutCount = 0;
}

/** Takes up a request, in this place alone: after ProcDynamLut has run for a good frame. In a build
 *  without the dynamic LUT a request stays pending until the session ends. */
void CCamProc::takeUpDynamLutRequest()
{
#if KV_DYNAMIC_LUT
    if (usrSignalPending == kRequested) {
        usrSignalPending = kWaitTwo;
    }
#endif
}

} // namespace KvTd
