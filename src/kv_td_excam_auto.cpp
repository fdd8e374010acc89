/** CExCam: automatic brightness. */
#include "kv_td_excam.h"
#include "kv_td_excam_rows.h"
#include "kv_td_log.h"
#include "kv_td_nodes.h"
#include "util/units.h"

#include <cmath>

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_excam";

int CExCam::ExPropertySetEna(PropertyType type, bool enable)
{
    const int i = RowOf(type);
    const char* const name = propEntries[i].name;
    if (nodeMap == nullptr) {
        KV_LOG(2, "can't get property info %u (%s)", static_cast<unsigned>(i), name);
        return -1;
    }
    const auto node = FindNode<GenApi::CBooleanPtr>(nodeMap, name);
    if (!node) {
        return -2;
    }
    node->SetValue(enable, true);
    KV_LOG(3, "### set property %u (%s) to %i ###", static_cast<unsigned>(i), name, enable);
    return 0;
}

int CExCam::ExSetAutoExpoEna(bool enable)
{
    if (nodeMap == nullptr) {
        KV_LOG(2, "can't get dev params to trigger Auto mode");
        return -1;
    }
    const auto mode = FindNode<GenApi::CEnumerationPtr>(nodeMap, "autoBrightnessMode");
    if (!mode) {
        return -2;
    }
    const char* const value = enable ? "Active" : "Off";
    mode->FromString(value, true);
    KV_LOG(3, "### set property autoBrightnessMode to %s ###", value);
    if (!enable) {
        return 0;
    }
    const auto sequence = FindNode<GenApi::CEnumerationPtr>(nodeMap, "autoBrightnessSequence");
    if (!sequence || sequence->ToString() == "Exposure_Gain_Iris") {
        return -3; // Deliberate: also when it is right already. AutoAccess.SequenceAlreadySet
    }
    sequence->FromString("Exposure_Gain_Iris", true);
    KV_LOG(3, "### set property autoBrightnessSequence to ExpoGainIris ###");
    return 0;
}

int CExCam::ExSetAutoExpoVal(float target)
{
    if (!(target >= 0.0F && target <= 1.0F)) {
        KV_LOG(2, "the value %f is out of bounds [%f;%f]", static_cast<double>(target), 0.0, 1.0);
        return -5;
    }
    return ExPropertySetInt(AUTO_BRIGHTNESS_TARGET_PROPERTY_TYPE,
                            ToInt32(static_cast<double>(std::round(target * 255.0F))));
}

/** A pair of limits on its way into the camera. */
struct CExCam::AutoLimits {
    PropertyType minType;
    PropertyType maxType;
    float min; ///< asked, in the unit of the range
    float max;
    float writtenMin; ///< as the camera gets it
    float writtenMax;
    float low = 0; ///< the range looked at last
    float high = 0;
};

/** -4 to -9, in the order of the steps. */
int CExCam::setAutoLimits(AutoLimits& limits)
{
    if (ExPropertyGetFloatRange(limits.minType, &limits.low, &limits.high) != 0) {
        return -4;
    }
    if (!(limits.min <= limits.max && limits.low <= limits.min && limits.min <= limits.high)) {
        return -5;
    }
    if (ExPropertyGetFloatRange(limits.maxType, &limits.low, &limits.high) != 0) {
        return -6;
    }
    if (!(limits.low <= limits.max && limits.max <= limits.high)) {
        return -7;
    }
    if (ExPropertySetFloat(limits.minType, limits.writtenMin) != 0) {
        return -8;
    }
    return ExPropertySetFloat(limits.maxType, limits.writtenMax) != 0 ? -9 : 0;
}

static float Truncated(float value)
{
    return static_cast<float>(ToInt32(static_cast<double>(value)));
}

int CExCam::ExPropertySetAutoRangeGain(float min, float max)
{
    // Deliberate: checked in dB, written as whole factors. AutoAccess.GainLimitsMixUnits
    AutoLimits limits{.minType = GAIN_AUTO_MIN_PROPERTY_TYPE,
                      .maxType = GAIN_AUTO_MAX_PROPERTY_TYPE,
                      .min = min,
                      .max = max,
                      .writtenMin = Truncated(FactorOfDb(min)),
                      .writtenMax = Truncated(FactorOfDb(max))};
    const int rc = setAutoLimits(limits);
    const auto low = static_cast<double>(limits.low);
    const auto high = static_cast<double>(limits.high);
    switch (rc) {
    case -4:
        KV_LOG(2, "Can't get Gain Min values range for auto mode");
        break;
    case -5:
        KV_LOG(2, "AUTO_GAIN_RANGE Min is out of bounds: %f is out of %f..%f",
               static_cast<double>(min), low, high);
        break;
    case -6:
        KV_LOG(2, "Can't get Gain Max values range for auto mode");
        break;
    case -7:
        KV_LOG(2, "AUTO_GAIN_RANGE Max is out of bounds: %f is out of %f..%f",
               static_cast<double>(max), low, high);
        break;
    case -8:
        KV_LOG(2, "Can't set AUTO_GAIN_MIN");
        break;
    case -9:
        KV_LOG(2, "Can't set AUTO_GAIN_MAX");
        break;
    default:
        break;
    }
    return rc;
}

int CExCam::ExPropertySetAutoRangeExpo(float min, float max)
{
    AutoLimits limits{.minType = EXPOSURE_AUTO_MIN_PROPERTY_TYPE,
                      .maxType = EXPOSURE_AUTO_MAX_PROPERTY_TYPE,
                      .min = min,
                      .max = max,
                      .writtenMin = Truncated(min),
                      .writtenMax = Truncated(max)};
    const int rc = setAutoLimits(limits);
    const auto low = static_cast<double>(limits.low);
    const auto high = static_cast<double>(limits.high);
    switch (rc) {
    case -4:
        KV_LOG(2, "Can't get Shutter Min values range for auto mode");
        break;
    case -5:
        KV_LOG(2, "AUTO_SHUTTER_RANGE Min is out of bounds: %f is out of %f..%f",
               static_cast<double>(min), low, high);
        break;
    case -6:
        KV_LOG(2, "Can't get Shutter Max values range for auto mode");
        break;
    case -7:
        KV_LOG(2, "AUTO_SHUTTER_RANGE Max is out of bounds: %f is out of %f..%f",
               static_cast<double>(max), low, high);
        break;
    case -8:
        KV_LOG(2, "Can't set AUTO_SHUTTER_MIN");
        break;
    case -9:
        KV_LOG(2, "Can't set AUTO_SHUTTER_MAX");
        break;
    default:
        break;
    }
    return rc;
}

int CExCam::ExPropertySetEnaAutoPush(PropertyType type, bool enable)
{
    const int i = RowOf(type);
    const char* const name = propEntries[i].name;
    KV_LOG(4, "Entry to manage Auto functions set: property %u (%s) ena=%u",
           static_cast<unsigned>(i), name, static_cast<unsigned>(enable));
    if (nodeMap == nullptr) {
        KV_LOG(2, "Can't get dev params to enable Auto mode");
        return -1;
    }
    if (const auto mode = FindNode<GenApi::CEnumerationPtr>(nodeMap, "autoBrightnessMode")) {
        const bool active = mode->ToString() == "Active";
        if (active != enable) {
            mode->FromString(enable ? "Active" : "Off", true);
        }
        if (!enable) {
            // Deliberate: the master switch decides for every selector; they stay as they are.
            // AutoAccess.MasterSwitchLeavesTheSelectors
            return 0;
        }
    }
    const auto selector = FindNode<GenApi::CEnumerationPtr>(nodeMap, name);
    if (!selector) {
        return -2;
    }
    const char* const target = enable ? "Continuous" : "Off";
    if (!(selector->ToString() == target)) {
        selector->FromString(target, true);
    }
    KV_LOG(3, "### set property %u (%s) to \"%s\" ###", static_cast<unsigned>(i), name, target);
    return 0;
}

} // namespace KvTd
