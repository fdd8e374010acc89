/** Automatic exposure and gain. */
#include "kv_host_services.h"
#include "kv_td_capture.h"
#include "kv_td_excam.h"
#include "kv_td_log.h"
#include "kv_td_proc.h"

#include <optional>

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_proc";

/** The settings that are configured and so have to be applied. */
enum WorkMask : unsigned { kBrightness = 1, kGain = 2, kExposure = 4, kAll = 7 };

static constexpr std::uint32_t kAutomaticBrightness = 1; ///< the only profile that is acted upon

void CCamProc::ProcParametrizeCamAutoFunc(CExCam* cam, std::uint32_t profile,
                                          std::uint32_t gainMode, std::uint32_t etimeMode,
                                          bool dynamic, bool* captureStopped)
{
    unsigned work = kAll;
    if (profile == kSweepUnset) {
        KV_LOG(3, "  AutoFunc settings skipped for \"Profile\"");
        work &= ~kBrightness;
    }
    if (gainMode == kSweepUnset) {
        KV_LOG(3, "  AutoFunc settings skipped for \"GainMode\"");
        work &= ~kGain;
    }
    if (etimeMode == kSweepUnset) {
        KV_LOG(3, "  Autofunc settings skipped for \"ExpTimeMode\"");
        work &= ~kExposure;
    }
    if (work == 0) {
        return;
    }
    KV_LOG(3, "AutoFunc settings handler entry vals: prof %u, gainm %u, etimem %u", profile,
           gainMode, etimeMode);
    const bool changes =
        ((work & kGain) != 0 && gainMode != static_cast<std::uint32_t>(gainAutoState)) ||
        ((work & kExposure) != 0 && etimeMode != static_cast<std::uint32_t>(expoAutoState));
    CaptureBracket bracket(cam, dynamic && changes, captureStopped);
    // Deliberate: no profile switches automatic brightness off. AutoFunc.NoProfileSwitchesOff
    if ((work & kBrightness) != 0 && profile == kAutomaticBrightness) {
        cam->ExSetAutoExpoEna(true);
    }
    if ((work & kGain) != 0) {
        switchAuto(cam, GAIN_AUTO_PROPERTY_TYPE, gainMode, gainAutoState);
    }
    if ((work & kExposure) != 0) {
        switchAuto(cam, EXPOSURE_AUTO_PROPERTY_TYPE, etimeMode, expoAutoState);
    }
    if (gainMode == kSweepAuto || etimeMode == kSweepAuto) {
        ProcParametrizeCamAutoFuncParams(cam);
    }
    bracket.Close();
}

/** Switches a selector to this mode, unless it was switched to it before. */
void CCamProc::switchAuto(CExCam* cam, PropertyType selector, std::uint32_t mode,
                          std::int32_t& state)
{
    if (mode == static_cast<std::uint32_t>(state)) {
        return;
    }
    if (mode == kSweepManual) {
        cam->ExPropertySetAutoOff(selector);
    } else if (mode == kSweepAuto) {
        cam->ExPropertySetAutoCont(selector);
    } else {
        return;
    }
    state = static_cast<std::int32_t>(mode);
}

int CCamProc::ProcParametrizeCamAutoFuncParams(CExCam* cam)
{
    const float bright = KvGiMainCtx__GetAtbright();
    const float gainLow = KvGiMainCtx__GetGainlimsLow();
    const float gainHigh = KvGiMainCtx__GetGainlimsHigh();
    const float expoLow = KvGiMainCtx__GetEtlimsLow();
    const float expoHigh = KvGiMainCtx__GetEtlimsHigh();
    KV_LOG(3, "AutoFunc params handler entry vals: bright %f, glims [%f, %f], etlims [%f, %f]",
           static_cast<double>(bright), static_cast<double>(gainLow), static_cast<double>(gainHigh),
           static_cast<double>(expoLow), static_cast<double>(expoHigh));
    unsigned work = kAll;
    if (bright == kExposureUnset) {
        KV_LOG(3, "  skipped for \"Brightness\"");
        work &= ~kBrightness;
    }
    if (gainLow == kGainUnset) {
        KV_LOG(3, "  skipped for \"GainLimits\"");
        work &= ~kGain;
    }
    if (expoLow == kExposureUnset) {
        KV_LOG(3, "  skipped for \"ExpTimeLimits\"");
        work &= ~kExposure;
    }
    int rc = 0;
    if ((work & kBrightness) != 0) {
        rc = cam->ExSetAutoExpoVal(bright);
    }
    if ((work & kGain) != 0) {
        rc = cam->ExPropertySetAutoRangeGain(gainLow, gainHigh);
    }
    if ((work & kExposure) != 0) {
        rc = cam->ExPropertySetAutoRangeExpo(expoLow, expoHigh);
    }
    return rc;
}

} // namespace KvTd
