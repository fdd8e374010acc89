/** Configuration: what the camera is and how it is set, sizes, and the handlers in their fixed
 *  order. */
#include "gev_api.h"
#include "kv_host_services.h"
#include "kv_td_excam.h"
#include "kv_td_log.h"
#include "kv_td_nodes.h"
#include "kv_td_proc.h"
#include "util/units.h"

#include <algorithm>
#include <cmath>

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_proc";
static constexpr std::uint32_t kTickFrequencyDefault = 1000000000;

int CCamProc::ProcSetCamConfig(CExCam* cam, std::uint32_t* bufferCount)
{
    const LogSite site = KV_HERE;
    reportDevice(site, cam);
    readSettings(site, cam);

    formatCode = static_cast<std::uint8_t>(KvGiMainCtx__GetFormat());
    if (ProcSetPixelFormat(cam, &formatCode, &pixelBits, &dataBits, &pixelFormat, nullptr) < 0) {
        KV_LOG(1, "The asked pixel format is not supported by device!");
        return -1;
    }
    if (isYuv) {
        wbRed = 0;
        wbBlue = 0;
    }
    ProcParametrizeCamAoi(cam);
    KV_LOG(4, "Configuring chunks...");
    ProcSetCamConfigChunks(cam);
    KV_LOG(4, "Chunks are configured");

    sizeFrames(site, cam, bufferCount);
    gainAutoState = 0;
    expoAutoState = 0;
    pendingFrame = nullptr;
    pendingConvFrame = nullptr;
    rotateState = 0;

    KV_LOG(3, "Applying initial configuration...");
    ProcParametrizeCam(cam, false, true);
    publishGeometry();
    KV_LOG(3, "...initial configuration is applied");
    return 0;
}

/** Logs what the camera is, with its temperature where it reports one. */
void CCamProc::reportDevice(const LogSite& site, CExCam* cam)
{
    const GEV_DEVICE_INFO* const info = GevGetCameraInfo(cam->camHandle);
    KV_LOG_AT(site, 3, "== Camera Device Information ==");
    KV_LOG_AT(site, 3, "===============================");
    KV_LOG_AT(site, 3, "Vendor           : %s", info == nullptr ? "" : info->manufacturer);
    KV_LOG_AT(site, 3, "Model            : %s", info == nullptr ? "" : info->model);
    KV_LOG_AT(site, 3, "Version          : %s", info == nullptr ? "" : info->version);
    KV_LOG_AT(site, 3, "DeviceSerialID   : %s", info == nullptr ? "" : info->serial);
    if (!SelectInternalTemperature(cam->nodeMap)) {
        return;
    }
    if (const auto node = FindNode<GenApi::CFloatPtr>(cam->nodeMap, "DeviceTemperature")) {
        KV_LOG_AT(site, 3, "Temperature, C   : %.2f", node->GetValue());
    }
}

/** Reads the camera's current settings into the fields and resets the per-run state. */
void CCamProc::readSettings(const LogSite& site, CExCam* cam)
{
    const auto readInt = [cam](PropertyType type, std::uint32_t& field) {
        int value = 0;
        if (cam->ExPropertyGetInt(type, &value) == 0) {
            field = static_cast<std::uint32_t>(value);
        }
    };
    KV_LOG_AT(site, 3, "~~ Camera Device Current Settings ~~");
    KV_LOG_AT(site, 3, "~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~");
    readInt(WIDTH_PROPERTY_TYPE, roiWidth);
    readInt(HEIGHT_PROPERTY_TYPE, roiHeight);
    readInt(WIDTH_MAX_PROPERTY_TYPE, widthMax);
    readInt(HEIGHT_MAX_PROPERTY_TYPE, heightMax);
    readInt(OFFSET_X_PROPERTY_TYPE, roiOffsetX);
    readInt(OFFSET_Y_PROPERTY_TYPE, roiOffsetY);
    KV_LOG_AT(site, 3, "ROI OffsX x OffsY   : %u x %u", roiOffsetX, roiOffsetY);
    KV_LOG_AT(site, 3, "ROI Width x Height  : %u x %u", roiWidth, roiHeight);

    cam->ExPropertyGetFloat(FRAME_RATE_PROPERTY_TYPE, &fps);
    cam->ExPropertyGetFloat(GAIN_PROPERTY_TYPE, &gainCur);
    cam->ExPropertyGetFloat(EXPOSURE_TIME_PROPERTY_TYPE, &exposureCur);
    if (fps > 0) {
        // Ours: a session whose rate is never configured has a period, too.
        // Config.PeriodTicksAndSizes
        framePeriodUs = PeriodUsOfRate(fps);
    }
    gammaValue = kGammaUnset;
    cam->ExPropertyGetGamma(&gammaValue, nullptr);
    std::uint64_t ticksPerSecond = 0;
    GevGetFeatureValue(cam->camHandle, "GevTimestampTickFrequency", sizeof ticksPerSecond,
                       &ticksPerSecond);
    GevGetFeatureValue(cam->camHandle, "PixelFormat", sizeof pixelFormat, &pixelFormat);
    KV_LOG_AT(site, 3, "ResultingFrameRate  : %.1f", static_cast<double>(fps));
    KV_LOG_AT(site, 3, "Gain, dB            : %.1f", static_cast<double>(gainCur));
    KV_LOG_AT(site, 3, "ExposureTimeAbs, us : %.1f", static_cast<double>(exposureCur));
    KV_LOG_AT(site, 3, "Gamma               : %.2f", static_cast<double>(gammaValue));
    KV_LOG_AT(site, 3, "PixelFormat         : 0x%08X", pixelFormat);
    KV_LOG_AT(site, 3, "~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~");

    lastSignal = kSignalNone;
    latencyUs = 5;
    exposureUs = 10;
    convFormat = 0;
    tickFrequency = static_cast<std::uint32_t>(ticksPerSecond);
    if (tickFrequency == 0) {
        tickFrequency = kTickFrequencyDefault;
    }
    KV_LOG_AT(site, 4, "Have tick: %u", tickFrequency);
}

/** Computes the sizes of buffers, lines and frames. */
void CCamProc::sizeFrames(const LogSite& site, CExCam* cam, std::uint32_t* bufferCount)
{
    std::uint64_t payload = 0;
    GevGetPayloadParameters(cam->camHandle, &payload, nullptr);
    const auto pixelBytes = static_cast<std::uint32_t>(GetPixelSizeInBytes(pixelFormat));
    bufferFrameSize = std::max(static_cast<std::uint32_t>(payload),
                               RoomyFrameBytes(pixelBytes, roiWidth, roiHeight));
    bufNum = *bufferCount;
    KV_LOG_AT(site, 3, "Set gBufferFrameSize to %u, bufNum to %u (old %u)", bufferFrameSize, bufNum,
              *bufferCount);
    *bufferCount = bufNum;
    stride = StrideBytes(pixelBits, roiWidth);
    fullFrameSize = stride * roiHeight;
}

void CCamProc::publishGeometry()
{
    KVSCUVAL::_s_valU32 = 1000000000U / tickFrequency;
    KvSc__SetParamVal(kParamTickNs, &KVSCUVAL::_s_valU32);
    KVSCUVAL::_s_valU32 = roiWidth;
    KvSc__SetParamVal(kParamWidth, &KVSCUVAL::_s_valU32);
    KVSCUVAL::_s_valU32 = roiHeight;
    KvSc__SetParamVal(kParamHeight, &KVSCUVAL::_s_valU32);
    KvGiMemInst__SetActFsize(0, fullFrameSize);
}

int CCamProc::ProcParametrizeCam(CExCam* cam, bool dynamic, bool initial)
{
    bool captureRestart = false;
    if (initial) {
        if (ProcParametrizeCamFps(cam)) {
            framePeriodUs = PeriodUsOfRate(fps);
            KvGi__SetCurrFpsUs(framePeriodUs);
        }
        ProcParametrizeCamRotate(cam);
    }
    if (isYuv) {
        ProcParametrizeCamWB(cam);
    }
    const std::uint32_t profile = KvGiMainCtx__GetSweepProf();
    const std::uint32_t gainMode = KvGiMainCtx__GetSweepGainMod();
    const std::uint32_t etimeMode = KvGiMainCtx__GetSweepEtimeMod();
    const std::uint32_t lutMode = KvGiMainCtx__GetSweepLutMod();
    ProcParametrizeCamAutoFunc(cam, profile, gainMode, etimeMode, dynamic, &captureRestart);
    if (gainMode == kSweepManual) {
        ProcParametrizeCamManGain(cam);
    }
    if (etimeMode == kSweepManual) {
        ProcParametrizeCamManExpo(cam);
    }
    int lutResult = 0;
    if (lutMode == kSweepManual) {
        lutResult = ProcParametrizeCamManLUT(cam, false, dynamic, &captureRestart);
    }
    if (lutResult <= 1) {
        ProcParametrizeCamGamma(cam, dynamic, lutResult, &captureRestart);
    }
    ProcParametrizeCamOutLines(cam);
    if (initial) {
        reportNewSettings(KV_HERE);
    }
    if (captureRestart) {
        cam->ExStartCapture(-1);
    }
    return 0;
}

/** Logs the settings in force and chooses how frames will be stamped. */
void CCamProc::reportNewSettings(const LogSite& site)
{
    KV_LOG_AT(site, 3, "~~ Camera Device New Settings ~~");
    KV_LOG_AT(site, 3, "~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~");
    KV_LOG_AT(site, 3, "ROI OffsX x OffsY   : %u x %u", roiOffsetX, roiOffsetY);
    KV_LOG_AT(site, 3, "ROI Width x Height  : %u x %u", roiWidth, roiHeight);
    KV_LOG_AT(site, 3, "ResultingFrameRate  : %f", static_cast<double>(fps));
    KV_LOG_AT(site, 3, "Gain, dB            : %f", static_cast<double>(gainCur));
    KV_LOG_AT(site, 3, "ExposureTimeAbs, us : %f", static_cast<double>(exposureCur));
    KV_LOG_AT(site, 3, "Gamma               : %f", static_cast<double>(gammaValue));
    KV_LOG_AT(site, 3, "PixelFormat         : 0x%08X", pixelFormat);
    KV_LOG_AT(site, 3, "Stride              : %u", stride);
    KV_LOG_AT(site, 3, "Full frame size     : %u", fullFrameSize);
    KV_LOG_AT(site, 3, "~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~");
    tsAdjNs = KvGiMainCtx__GetTsadjns();
    if (tsAdjNs != 0) {
        KV_LOG_AT(site, 3, "REFCAMTS mode - TS is obtained from cam (sync accuracy %g)",
                  tsAdjNs * 1e-9);
    } else {
        KV_LOG_AT(site, 3, "REGULAR mode - TS is obtained using box gettimeofday");
    }
}

} // namespace KvTd
