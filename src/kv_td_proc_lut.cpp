/** Look-up table and gamma. */
#include "kv_host_services.h"
#include "kv_td_capture.h"
#include "kv_td_excam.h"
#include "kv_td_log.h"
#include "kv_td_proc.h"
#include "kv_td_time.h"
#include "util/lut_table.h"
#include "util/units.h"

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_proc";

// Results of the two handlers.
static constexpr int kLutSkipped = 0;
static constexpr int kLutDropped = 1; ///< none is configured, the camera has one
static constexpr int kLutWritten = 2;
static constexpr int kLutUnsupported = -1;
static constexpr int kLutWriteFailed = -2;
static constexpr int kLutTwelveBits = -3;

static constexpr int kGammaNothing = 0;
static constexpr int kGammaOffForLut = 1;
static constexpr int kGammaOffForBounds = 2;
static constexpr int kGammaOff = 3;
static constexpr int kGammaWritten = 4;
static constexpr int kGammaUnsupported = -1;
static constexpr int kGammaOutOfBounds = -2;

/** How far a value may lie from the markers -1 (none configured) and 1 (no correction). */
static constexpr double kMarkerTolerance = 0.001;
/** How far a value may lie outside the camera's range. */
static constexpr double kRangeTolerance = 0.01;

static bool IsAbout(double value, double marker)
{
    return value >= marker - kMarkerTolerance && value <= marker + kMarkerTolerance;
}

/** An entry for the log; 0 where there is none. */
static unsigned EntryAt(std::span<const std::uint16_t> entries, std::size_t index)
{
    return index < entries.size() ? entries[index] : 0;
}

/** Writes all channels; false at the first entry that is refused. */
static bool WriteTable(CExCam* cam, const DeviceLut& table, int channels)
{
    for (int channel = 0; channel < channels; ++channel) {
        if (cam->ExPropertySetLUTChannel(channel, channels) != 0) {
            return false;
        }
        for (std::size_t i = 0; i < table.size(); ++i) {
            if (cam->ExPropertySetLUTValue(static_cast<int>(i), static_cast<int>(table[i])) != 0) {
                return false;
            }
        }
    }
    return true;
}

int CCamProc::ProcParametrizeCamManLUT(CExCam* cam, bool fromDynLut, bool whileGrabbing,
                                       bool* captureRestart)
{
    const std::uint16_t* const source = fromDynLut ? dynLut : KvGiMainCtx__GetLutDataU16();
    KV_LOG(3, "LUT settings handler entry LUT arr %p", static_cast<const void*>(source));
    if (!fromDynLut) {
        if (usrSignalPending != 0) {
            KV_LOG(3, "  LUT configuration from file is skipped (dynamic mode is active)");
            return kLutSkipped;
        }
        // Deliberate: the same array is the same table, whatever it holds by now.
        // ManLut.TheSameArrayIsNotLookedAt
        if (source == lastLutData) {
            KV_LOG(3, "  LUT configuration is skipped: no data change is detected");
            return kLutSkipped;
        }
    }
    const td_lg_states state = cam->ExPropertyGetLUTMode();
    if (state == LG_NONE) {
        KV_LOG(2, "LUT is not supported for this device");
        return kLutUnsupported;
    }
    const bool userLut = state == LG_USER_LUT;
    KV_LOG(3, "  current LUT state: ena %u, entries %u", static_cast<unsigned>(userLut),
           static_cast<unsigned>(kDeviceLutEntries));
    if (source == nullptr) {
        if (userLut) {
            gammaValue = kGammaUnset;
        }
        lastLutData = nullptr;
        KV_LOG(3, "  LUT is disabled due to configuration");
        return userLut ? kLutDropped : kLutSkipped;
    }
    if (dataBits == 12 && !isYuv) {
        KV_LOG(2, "LUT is not supported for 12 bit pixel format");
        return kLutTwelveBits;
    }

    CaptureBracket bracket(cam, whileGrabbing, captureRestart);
    unsigned short deviceBits = 0;
    const int rc = cam->ExPropertySetLUTMode(LG_USER_LUT, &deviceBits);
    if (rc != 0 || deviceBits == 0) {
        KV_LOG(2, "can't enable LUT: rc = %i (devLutBitSiz = %u)", rc,
               static_cast<unsigned>(deviceBits));
    }
    // Deliberate: 8 bits, whatever the camera says. ManLut.TableHasEightBitsWhateverTheCameraSays
    deviceBits = kDeviceLutBits;

    const unsigned count = KvGiMainCtx__GetLutArrCount();
    const int sourceBits = KvGiMainCtx__GetLutBitSize();
    const std::span entries(source, fromDynLut ? dynLutCount : count);
    const std::uint64_t startUs = MicrosecondsOf(TimeOfDay());
    KV_LOG(3,
           "  check LUT: val[%u] = %u, val[%u] = %u, devBitSize = %u, arrBitSize = %u, nValsDev = "
           "%u, nValsArr = %u",
           10U, EntryAt(entries, 10), count - 1, EntryAt(entries, count - 1U),
           static_cast<unsigned>(deviceBits), static_cast<unsigned>(sourceBits),
           static_cast<unsigned>(kDeviceLutEntries), count);
    DeviceLut table{};
    bool converted = false;
    if (fromDynLut) {
        converted = ConvertDynamicLut(entries, reconfigState != 0, table);
    } else if (ConvertConfiguredLut(entries, sourceBits, table)) {
        KV_LOG(3, "  check devLut boundary: val[ %u] = %u", 255U, table[255]);
        lastLutData = source;
        converted = true;
    }
    // Deliberate: a table that is too short is written as zeros. ManLut.ShortTableWritesZeros
    const int result = WriteTable(cam, table, isYuv ? 3 : 1) ? kLutWritten : kLutWriteFailed;
    bracket.Close();
    KV_LOG(3, "LUT handler exit (nValuesDev = %u, nCfgVals = %u, time = %uus)",
           static_cast<unsigned>(kDeviceLutEntries),
           converted ? static_cast<unsigned>(kDeviceLutEntries) : 0U,
           static_cast<unsigned>(MicrosecondsOf(TimeOfDay()) - startUs));
    return result;
}

int CCamProc::ProcParametrizeCamGamma(CExCam* cam, bool whileGrabbing, int lutResult,
                                      bool* captureRestart)
{
    const bool lutDropped = lutResult == kLutDropped;
    const auto switchOff = [&](int result) {
        CaptureBracket bracket(cam, whileGrabbing, captureRestart);
        cam->ExPropertySetLUTMode(LG_OFF, nullptr);
        bracket.Close();
        return result;
    };
    float gamma = KvGiMainCtx__GetGamma();
    const auto asked = static_cast<double>(gamma);
    KV_LOG(3, "Gamma settings handler entry val: Gamma %f", asked);
    if (IsAbout(asked, -1)) {
        KV_LOG(3, "  Gamma config is skipped");
        if (!lutDropped) {
            return kGammaNothing;
        }
        KV_LOG(3, "Disabling LUT/Gamma control follow LUT configuration...");
        return switchOff(kGammaOffForLut);
    }
    float min = 0;
    float max = 0;
    if (cam->ExPropertyGetGammaRange(&min, &max) != 0) {
        KV_LOG(2, "  Gamma is not supported for this device");
        if (!lutDropped) {
            return kGammaUnsupported;
        }
        KV_LOG(3, "Disabling LUT/Gamma control follow LUT configuration...");
        return switchOff(kGammaOffForLut);
    }
    const auto low = static_cast<double>(min);
    const auto high = static_cast<double>(max);
    KV_LOG(3, "  cur Gamma val is %f (min %f, max %f)", static_cast<double>(gammaValue), low, high);
    td_lg_states state = cam->ExPropertyGetLUTMode();
    if (!(asked >= low - kRangeTolerance && asked <= high + kRangeTolerance)) {
        KV_LOG(2, "  asked Gamma val %f is out of bounds [%.2f,%.2f], skipped", asked, low, high);
        if (!lutDropped) {
            return kGammaOutOfBounds;
        }
        KV_LOG(3, "Disabling LUT/Gamma control follow LUT configuration...");
        return switchOff(kGammaOffForBounds);
    }
    if (!IsAbout(asked, 1)) {
        CaptureBracket bracket(cam, whileGrabbing, captureRestart);
        if (cam->ExPropertySetGamma(gamma, &state) == 0) {
            cam->ExPropertyGetGamma(&gamma, &state);
            KV_LOG(3, "  new Gamma val is %f", static_cast<double>(gamma));
            gammaValue = gamma;
        }
        bracket.Close();
        return kGammaWritten; // Deliberate: also when it can't be set.
                              // GammaHandler.FailedSetGivesFour
    }
    if (state != LG_GAMMA) {
        KV_LOG(3, "  Gamma control is already turned off");
        return kGammaNothing;
    }
    KV_LOG(3, "Disabling LUT/Gamma control follow Gamma configuration");
    return switchOff(kGammaOff);
}

} // namespace KvTd
