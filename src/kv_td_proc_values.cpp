/** Gain, exposure, frame rate and rotation: one configured value each. */
#include "kv_host_services.h"
#include "kv_td_excam.h"
#include "kv_td_log.h"
#include "kv_td_proc.h"
#include "util/units.h"

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_proc";

namespace
{

/** A float feature's range; 0 to 0 when it can't be read, so that only 0 lies in it. */
struct FloatRange {
    float min = 0;
    float max = 0;

    FloatRange(CExCam* cam, PropertyType type) { cam->ExPropertyGetFloatRange(type, &min, &max); }
    /** Includes both ends; NaN is out of every range. */
    bool Holds(float value) const { return value >= min && value <= max; }
};

/** Writes a value and reads back what the camera made of it. False: it can't be set. */
bool WriteAndReadBack(CExCam* cam, PropertyType type, float& value)
{
    if (cam->ExPropertySetFloat(type, value) != 0) {
        return false;
    }
    cam->ExPropertyGetFloat(type, &value);
    return true;
}

double D(float value)
{
    return static_cast<double>(value);
}

} // namespace

void CCamProc::ProcParametrizeCamManGain(CExCam* cam)
{
    float gain = KvGiMainCtx__GetGainMan();
    KV_LOG(3, "Gain settings handler entry val: gain %f (CamGain %f)", D(gain), D(gainCur));
    if (gain == kGainUnset) {
        KV_LOG(3, "  Gain config is skipped");
        return;
    }
    const FloatRange range(cam, GAIN_PROPERTY_TYPE);
    KV_LOG(3, "  cur Gain val is %f (min %f, max %f)", D(gainCur), D(range.min), D(range.max));
    if (!range.Holds(gain)) {
        KV_LOG(2, "  asked Gain val %f is out of bounds [%f, %f], skipped", D(gain), D(range.min),
               D(range.max));
        return;
    }
    if (!WriteAndReadBack(cam, GAIN_PROPERTY_TYPE, gain)) {
        return;
    }
    KV_LOG(3, "  new Gain val is %f", D(gain));
    gainCur = gain;
}

void CCamProc::ProcParametrizeCamManExpo(CExCam* cam)
{
    float exposure = KvGiMainCtx__GetExptMan();
    KV_LOG(3, "ExpoTime settings handler entry val: expt %f (CamExposureTime %f)", D(exposure),
           D(exposureCur));
    if (exposure == kExposureUnset) {
        KV_LOG(3, "  ExpoTime config is skipped");
        return;
    }
    const FloatRange range(cam, EXPOSURE_TIME_PROPERTY_TYPE);
    KV_LOG(3, "  cur ExpoTime val is %f (min %f, max %f)", D(exposureCur), D(range.min),
           D(range.max));
    if (!range.Holds(exposure)) {
        KV_LOG(2, "  asked ExpoTime val %f is out of bounds [%f, %f], skipped", D(exposure),
               D(range.min), D(range.max));
        return;
    }
    if (!WriteAndReadBack(cam, EXPOSURE_TIME_PROPERTY_TYPE, exposure)) {
        return;
    }
    exposureCurInt = ToInt32(D(exposure));
    KV_LOG(3, "  new ExpoTime val is %f (%u)us", D(exposure),
           static_cast<unsigned>(exposureCurInt));
    exposureCur = exposure;
}

bool CCamProc::ProcParametrizeCamFps(CExCam* cam)
{
    float rate = KvGiMainCtx__GetFps();
    KV_LOG(3, "Fps settings handler entry val: Fps %f (CamFps %f)", D(rate), D(fps));
    // Deliberate: no rate is both, so none is ever skipped; -1 is refused as out of bounds.
    // Values.AreRefusedOutsideTheRangeOnly
    if (D(rate) >= -0.999 && D(rate) <= -1.001) {
        KV_LOG(3, "  Fps config is skipped");
        return false;
    }
    const FloatRange range(cam, FRAME_RATE_PROPERTY_TYPE);
    KV_LOG(3, "  cur CamFps val is %f (min %f, max %f)", D(fps), D(range.min), D(range.max));
    if (!range.Holds(rate)) {
        KV_LOG(2, "  asked Fps val %f is out of bounds [%f, %f], skipped", D(rate), D(range.min),
               D(range.max));
        return false;
    }
    if (!WriteAndReadBack(cam, FRAME_RATE_PROPERTY_TYPE, rate)) {
        return false;
    }
    KV_LOG(3, "  new CamFps val is %f", D(rate));
    fps = rate;
    return true;
}

void CCamProc::ProcParametrizeCamRotate(CExCam* cam)
{
    const int code = KvGiMainCtx__GetRotate();
    KV_LOG(3, "Rotate settings handler entry val: Rotate %i", code);
    if (code == kRotateUnset) {
        KV_LOG(3, "  Rotate config is skipped");
        return;
    }
    KV_LOG(3, "  cur Rotate val is: %i", rotateState);
    const bool turned = code == kRotateTurned; // every other code means upright
    if (turned != (rotateState != 0)) {
        cam->ExPropertySetEna(REVERSE_X_PROPERTY_TYPE, turned);
        cam->ExPropertySetEna(REVERSE_Y_PROPERTY_TYPE, turned);
    }
    rotateState = turned ? 1 : 0;
    KV_LOG(3, "  new Rotate val is: %i", rotateState);
}

} // namespace KvTd
