/** CExCam: the property table, access to features by type and by name, start and stop of a
 *  transfer. */
#include "kv_td_excam.h"

#include "kv_td_excam_rows.h"
#include "kv_td_log.h"
#include "kv_td_nodes.h"
#include "util/units.h"

#include <cstdio>
#include <cstring>
#include <optional>

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_excam";

constexpr PropertyEntry _S_PropertyEntries[kPropertyCount] = {
    {"WidthMax", 0, 0, 0, 0, 0, false, false},
    {"HeightMax", 0, 0, 0, 0, 0, false, false},
    {"Width", 0, 0, 0, 0, 0, false, false},
    {"Height", 0, 0, 0, 0, 0, false, false},
    {"OffsetX", 0, 0, 0, 0, 0, false, false},
    {"OffsetY", 0, 0, 0, 0, 0, false, false},
    {"Gain", 0, 0, 0, 0, 0, false, false},
    {"ExposureTime", 0, 0, 0, 0, 0, false, false},
    {"gammaCorrection", 0, 0, 0, 0, 0, false, false},
    {"AcquisitionFrameRate", 0, 0, 0, 0, 0, false, false},
    {"autoBrightnessTarget", 0, 0, 0, 0, 0, false, false},
    {"exposureAutoMinValue", 0, 0, 0, 0, 0, false, false},
    {"exposureAutoMaxValue", 0, 0, 0, 0, 0, false, false},
    {"gainAutoMinValue", 0, 0, 0, 0, 0, false, false},
    {"gainAutoMaxValue", 0, 0, 0, 0, 0, false, false},
    {"ExposureAuto", 0, 0, 0, 0, 0, false, false},
    {"GainAuto", 0, 0, 0, 0, 0, false, false},
    {"ReverseX", 0, 0, 0, 0, 0, false, false},
    {"ReverseY", 0, 0, 0, 0, 0, false, false},
    {"balanceWhitePeriod", 0, 0, 0, 0, 0, false, false},
    {"BalanceRatio", 0, 0, 0, 0, 0, false, false},
    {"BalanceRatio", 0, 0, 0, 0, 0, false, false},
    {"UNSPECIFIED_PROPERTY_TYPE", 0, 0, 0, 0, 0, false, false},
};

namespace
{

bool IsInDb(int row)
{
    return row == GAIN_PROPERTY_TYPE || row == BALANCE_RATIO_RED_PROPERTY_TYPE ||
           row == BALANCE_RATIO_BLUE_PROPERTY_TYPE;
}

bool IsGainAutoLimit(int row)
{
    return row == GAIN_AUTO_MIN_PROPERTY_TYPE || row == GAIN_AUTO_MAX_PROPERTY_TYPE;
}

bool IsExposureAutoLimit(int row)
{
    return row == EXPOSURE_AUTO_MIN_PROPERTY_TYPE || row == EXPOSURE_AUTO_MAX_PROPERTY_TYPE;
}

/** Writes an entry of an enumeration, unless the camera lacks it. */
void SelectIfThere(const GenApi::CNodeMapRef* map, const char* selector, const char* entry)
{
    if (const auto node = FindNode<GenApi::CEnumerationPtr>(map, selector)) {
        node->FromString(entry, true);
    }
}

/** Sets the selector that the row's feature depends on. */
void PrepareSelector(const GenApi::CNodeMapRef* map, int row)
{
    switch (row) {
    case GAIN_PROPERTY_TYPE:
        SelectIfThere(map, "GainSelector", "SensorAll");
        break;
    case BALANCE_RATIO_RED_PROPERTY_TYPE:
        SelectIfThere(map, "BalanceRatioSelector", "Red");
        break;
    case BALANCE_RATIO_BLUE_PROPERTY_TYPE:
        SelectIfThere(map, "BalanceRatioSelector", "Blue");
        break;
    default:
        break;
    }
}

/** Holds `autoBrightnessMode` at "Active" for one access. */
class BrightnessBracket
{
public:
    explicit BrightnessBracket(const GenApi::CNodeMapRef* map)
        : mode_(FindNode<GenApi::CEnumerationPtr>(map, "autoBrightnessMode"))
    {
        if (!mode_) {
            return;
        }
        kept_ = mode_->ToString();
        switched_ = !(kept_ == "Active");
        if (switched_) {
            mode_->FromString("Active", true);
        }
    }
    /** Not a destructor: an exception in between leaves the mode switched. */
    void Restore()
    {
        if (switched_) {
            mode_->FromString(kept_, true);
        }
    }

private:
    GenApi::CEnumerationPtr mode_;
    GenApi::gcstring kept_;
    bool switched_ = false;
};

} // namespace

CExCam::CExCam(void* handle) : camHandle(handle), nodeMap(GevGetFeatureNodeMap(handle))
{
    std::memcpy(propEntries, _S_PropertyEntries, sizeof propEntries);
    for (int i = 0; i < kIoBoxRecordCount; ++i) {
        lineStates[i].setIndex = static_cast<std::uint8_t>(i % kIoBoxSetCount);
    }
}

CExCam::~CExCam() = default;

int CExCam::ExStartCapture(int frameCount)
{
    if (camHandle == nullptr) {
        KV_LOG(2, "Can't get contexts to start capture");
        return -1;
    }
    KV_LOG(3, "****** starting capture ******");
    const std::uint32_t frames = frameCount > 0 ? static_cast<std::uint32_t>(frameCount) : ~0U;
    const int status = GevStartTransfer(camHandle, frames);
    if (status != 0) {
        printf("Error starting grab - 0x%x  or %d\n", static_cast<unsigned>(status), status);
    }
    return 0; // Deliberate: a dead transfer shows as drops.
              // Capture.RefusedStartIsPrintedAndGivesZero
}

int CExCam::ExStopCapture()
{
    if (camHandle == nullptr) {
        KV_LOG(2, "Can't get contexts to stop capture");
        return -1;
    }
    KV_LOG(3, "****** stopping capture ******");
    const int status = GevAbortTransfer(camHandle);
    if (status != 0) {
        printf("Error stopping grab - 0x%x  or %d\n", static_cast<unsigned>(status), status);
    }
    return 0;
}

int CExCam::ExPropertyGetInt(PropertyType type, int* value)
{
    const int i = RowOf(type);
    if (nodeMap == nullptr) {
        KV_LOG(2, "can't get property info %u (%s)", static_cast<unsigned>(i), propEntries[i].name);
        return -1;
    }
    const auto node = FindNode<GenApi::CIntegerPtr>(nodeMap, propEntries[i].name);
    if (!node) {
        return -2;
    }
    Store(value, static_cast<int>(node->GetValue()));
    return 0;
}

int CExCam::ExPropertySetInt(PropertyType type, int value)
{
    const int i = RowOf(type);
    if (nodeMap == nullptr) {
        KV_LOG(2, "can't get property info %u (%s)", static_cast<unsigned>(i), propEntries[i].name);
        return -1;
    }
    std::optional<BrightnessBracket> bracket;
    if (i == AUTO_BRIGHTNESS_TARGET_PROPERTY_TYPE) {
        bracket.emplace(nodeMap);
    }
    int result = -2;
    if (const auto node = FindNode<GenApi::CIntegerPtr>(nodeMap, propEntries[i].name)) {
        node->SetValue(value, true);
        KV_LOG(3, "### set property %u (%s) to %i ###", static_cast<unsigned>(i),
               propEntries[i].name, value);
        result = 0;
    }
    if (bracket) {
        bracket->Restore();
    }
    return result;
}

int CExCam::ExPropertyGetIntRange(PropertyType type, int* min, int* max, int* inc)
{
    const int i = RowOf(type);
    PropertyEntry& row = propEntries[i];
    if (!row.intRangeCached) {
        if (nodeMap == nullptr) {
            KV_LOG(2, "can't get property info %u (%s)", static_cast<unsigned>(i), row.name);
            return -1;
        }
        const auto node = FindNode<GenApi::CIntegerPtr>(nodeMap, row.name);
        if (!node) {
            return -2;
        }
        row.intMin = static_cast<std::int32_t>(node->GetMin());
        row.intMax = static_cast<std::int32_t>(node->GetMax());
        row.intInc = static_cast<std::int32_t>(node->GetInc());
        row.intRangeCached = true;
        KV_LOG(3, "### get property %u (%s) range: min=%i max=%i inc=%i ###",
               static_cast<unsigned>(i), row.name, row.intMin, row.intMax, row.intInc);
    }
    Store(min, row.intMin);
    Store(max, row.intMax);
    Store(inc, row.intInc);
    return 0;
}

int CExCam::ExPropertyGetFloat(PropertyType type, float* value)
{
    const int i = RowOf(type);
    if (nodeMap == nullptr) {
        KV_LOG(2, "can't get property info %u (%s)", static_cast<unsigned>(i), propEntries[i].name);
        return -1;
    }
    PrepareSelector(nodeMap, i);
    const auto node = FindNode<GenApi::CFloatPtr>(nodeMap, propEntries[i].name);
    if (!node) {
        return -2;
    }
    const auto read = static_cast<float>(node->GetValue());
    Store(value, IsInDb(i) ? DbOfFactor(read) : read);
    return 0;
}

int CExCam::ExPropertySetFloat(PropertyType type, float value)
{
    const int i = RowOf(type);
    if (nodeMap == nullptr) {
        KV_LOG(2, "can't get property info %u (%s)", static_cast<unsigned>(i), propEntries[i].name);
        return -1;
    }
    PrepareSelector(nodeMap, i);
    const auto node = FindNode<GenApi::CFloatPtr>(nodeMap, propEntries[i].name);
    if (!node) {
        return -2;
    }
    const float written = IsInDb(i) ? FactorOfDb(value) : value;
    node->SetValue(static_cast<double>(written), true);
    KV_LOG(3, "### set property %u (%s) to %f ###", static_cast<unsigned>(i), propEntries[i].name,
           static_cast<double>(value));
    return 0;
}

int CExCam::ExPropertyGetFloatRange(PropertyType type, float* min, float* max)
{
    const int i = RowOf(type);
    PropertyEntry& row = propEntries[i];
    if (row.floatRangeCached) {
        Store(min, row.floatMin);
        Store(max, row.floatMax);
        return 0;
    }
    if (nodeMap == nullptr) {
        KV_LOG(2, "can't get property info %u (%s)", static_cast<unsigned>(i), row.name);
        return -1;
    }
    PrepareSelector(nodeMap, i);
    std::optional<BrightnessBracket> bracket;
    if (IsExposureAutoLimit(i) || IsGainAutoLimit(i)) {
        bracket.emplace(nodeMap);
    }
    if (IsGainAutoLimit(i)) {
        SelectIfThere(nodeMap, "gainAutoSource", "SensorAll");
    }
    int result = -2;
    if (const auto node = FindNode<GenApi::CFloatPtr>(nodeMap, row.name)) {
        const bool inDb = IsInDb(i) || IsGainAutoLimit(i);
        const auto low = static_cast<float>(node->GetMin());
        const auto high = static_cast<float>(node->GetMax());
        row.floatMin = inDb ? DbOfFactor(low) : low;
        row.floatMax = inDb ? DbOfFactor(high) : high;
        row.floatRangeCached = true;
        KV_LOG(3, "### get property %u (%s) range: min=%f max=%f ###", static_cast<unsigned>(i),
               row.name, static_cast<double>(row.floatMin), static_cast<double>(row.floatMax));
        Store(min, row.floatMin);
        Store(max, row.floatMax);
        result = 0;
    }
    if (bracket) {
        bracket->Restore();
    }
    return result;
}

int CExCam::ExPropertySetEnumFromStr(const char* featureName, const char* valueName)
{
    if (nodeMap == nullptr) {
        KV_LOG(2, "can't get dev params to change LutGamma mode");
        return -1;
    }
    const auto node = FindNode<GenApi::CEnumerationPtr>(nodeMap, featureName);
    if (!node) {
        return -2;
    }
    node->FromString(valueName, true);
    KV_LOG(4, "### set enum param \"%s\" to \"%s\"", featureName, valueName);
    return 0;
}

} // namespace KvTd
