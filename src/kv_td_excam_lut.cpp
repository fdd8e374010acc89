/** CExCam: look-up table and gamma correction. */
#include "kv_td_excam.h"
#include "kv_td_excam_rows.h"
#include "kv_td_guard.h"
#include "kv_td_log.h"
#include "kv_td_nodes.h"

#include <optional>
#include <utility>

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_excam";

/** How far a value may lie outside the camera's gamma range. */
static constexpr double kGammaTolerance = 0.06;

static unsigned short LutBitsOfSize(const GenApi::gcstring& size)
{
    if (size == "Bpp12") {
        return 12;
    }
    return size == "Bpp10" ? 10 : 8;
}

int CExCam::ExPropertySetLUTMode(td_lg_states state, unsigned short* lutBits)
{
    if (nodeMap == nullptr) {
        KV_LOG(2, "can't get dev params to change LutGamma mode");
        return -1;
    }
    const auto lutMode = FindNode<GenApi::CEnumerationPtr>(nodeMap, "lutMode");
    const auto lutType = FindNode<GenApi::CEnumerationPtr>(nodeMap, "lutType");
    if (!lutMode || !lutType) {
        return -2;
    }
    const bool active = state == LG_USER_LUT || state == LG_GAMMA;
    const char* const mode = active ? "Active" : "Off";
    const char* type = "";
    if (active) {
        type = state == LG_USER_LUT ? "UserDefined" : "GammaCorrection";
    }
    const LogSite site = KV_HERE;
    const GuardResult guard = GuardGenApi(site, "set LUT mode", [&] {
        if (active) {
            lutType->FromString(type, true);
        }
        if (state == LG_USER_LUT) {
            const auto lutSize = FindNode<GenApi::CEnumerationPtr>(nodeMap, "lutSize");
            if (lutSize && lutBits != nullptr) {
                const GenApi::gcstring size = lutSize->ToString();
                KV_LOG_AT(site, 3, "Have current LUT size: %s", size.c_str());
                *lutBits = LutBitsOfSize(size);
            }
        }
        lutMode->FromString(mode, true);
    });
    KV_LOG(3, "### set Lut mode to \"%s\"; Lut type to \"%s\" (status %i) ###", mode, type,
           guard.status);
    return 0; // Deliberate: only the log shows a failure. LutMode.FailureIsOnlyLogged
}

td_lg_states CExCam::ExPropertyGetLUTMode()
{
    if (nodeMap == nullptr) {
        KV_LOG(2, "can't get dev params to get LutGamma mode");
        return LG_NONE;
    }
    const auto lutMode = FindNode<GenApi::CEnumerationPtr>(nodeMap, "lutMode");
    const auto lutType = FindNode<GenApi::CEnumerationPtr>(nodeMap, "lutType");
    if (!lutMode || !lutType) {
        return LG_NONE;
    }
    const GenApi::gcstring mode = lutMode->ToString();
    const GenApi::gcstring type = lutType->ToString();
    KV_LOG(3, "### get Lut mode \"%s\"; Lut type \"%s\" ###", mode.c_str(), type.c_str());
    if (mode == "Off") {
        return LG_OFF;
    }
    if (mode == "Active" && type == "UserDefined") {
        return LG_USER_LUT;
    }
    return mode == "Active" && type == "GammaCorrection" ? LG_GAMMA : LG_OTHER;
}

int CExCam::ExPropertySetLUTValue(int index, int value)
{
    if (nodeMap == nullptr) {
        KV_LOG(2, "can't get dev params to set LUT value");
        return -1;
    }
    const auto lutIndex = FindNode<GenApi::CIntegerPtr>(nodeMap, "LUTIndex");
    const auto lutValue = FindNode<GenApi::CIntegerPtr>(nodeMap, "LUTValue");
    if (!lutIndex || !lutValue) {
        return -2;
    }
    lutIndex->SetValue(index, true);
    lutValue->SetValue(value, true);
    return 0;
}

int CExCam::ExPropertySetLUTChannel(int channel, int channelCount)
{
    if (channelCount < 2) {
        return 0;
    }
    if (nodeMap == nullptr) {
        KV_LOG(2, "can't get dev params to set LUT value");
        return -1;
    }
    const auto selector = FindNode<GenApi::CEnumerationPtr>(nodeMap, "LUTSelector");
    if (!selector) {
        KV_LOG(2, "can't get LUTSelector parameter");
        return -2;
    }
    const char* name = "Blue";
    if (channel == 0) {
        name = "Red";
    } else if (channel == 1) {
        name = "Green";
    }
    selector->FromString(name, true);
    return 0;
}

namespace
{

/** Turns `lutType` to gamma correction for a range read. */
class GammaTypeBracket
{
public:
    explicit GammaTypeBracket(const GenApi::CNodeMapRef* map)
        : type_(FindNode<GenApi::CEnumerationPtr>(map, "lutType"))
    {
    }
    /** True: it was another one. */
    bool Switch()
    {
        if (!type_) {
            return false;
        }
        kept_ = type_->ToString();
        if (kept_ == "GammaCorrection") {
            return false;
        }
        type_->FromString("GammaCorrection", true);
        switched_ = true;
        return true;
    }
    /** One attempt: none is made again, whatever became of it. */
    void Restore()
    {
        if (std::exchange(switched_, false)) {
            type_->FromString(kept_, true);
        }
    }

private:
    GenApi::CEnumerationPtr type_;
    GenApi::gcstring kept_;
    bool switched_ = false;
};

} // namespace

int CExCam::ExPropertyGetGammaRange(float* min, float* max)
{
    PropertyEntry& row = propEntries[GAMMA_PROPERTY_TYPE];
    if (row.floatRangeCached) {
        Store(min, row.floatMin);
        Store(max, row.floatMax);
        return 0;
    }
    const td_lg_states state = ExPropertyGetLUTMode();
    if (state == LG_NONE) {
        return 1; // Deliberate: no failure, the camera just has none. Gamma.ResultsOfRefusals
    }
    const LogSite site = KV_HERE;
    constexpr char kOrigin[] = "get Gamma range";
    std::optional<GammaTypeBracket> bracket;
    int result = -2;
    GuardResult guard = GuardGenApi(site, kOrigin, [&] {
        if (state != LG_GAMMA) {
            bracket.emplace(nodeMap);
            if (bracket->Switch()) {
                KV_LOG_AT(site, 3, "### Gamma feature is disabled ###");
            }
        }
        if (const auto node = FindNode<GenApi::CFloatPtr>(nodeMap, row.name)) {
            row.floatMin = static_cast<float>(node->GetMin());
            row.floatMax = static_cast<float>(node->GetMax());
            row.floatRangeCached = true;
            KV_LOG_AT(site, 3, "### Gamma range: min=%f max=%f ###",
                      static_cast<double>(row.floatMin), static_cast<double>(row.floatMax));
            Store(min, row.floatMin);
            Store(max, row.floatMax);
            result = 0;
        }
        if (bracket) {
            bracket->Restore();
        }
    });
    if (guard.caught) {
        result = guard.status;
        // Deliberate: after a property exception alone the type goes back to what it was.
        // GammaRange.OnlyAPropertyExceptionRestoresTheType
        if (guard.status == 0) {
            result = -1;
            if (bracket) {
                guard = GuardGenApi(site, kOrigin, [&] { bracket->Restore(); });
            }
        }
    }
    KV_LOG(4, "Get Gamma range is exited with status %i", guard.status);
    return result;
}

int CExCam::ExPropertyGetGamma(float* value, td_lg_states* state)
{
    const td_lg_states known = state != nullptr ? *state : ExPropertyGetLUTMode();
    if (state == nullptr && nodeMap == nullptr) {
        return -1;
    }
    if (known != LG_NONE && known != LG_GAMMA) {
        KV_LOG(3, "### Gamma feature is disabled (%u) ###", static_cast<unsigned>(known));
        return 0;
    }
    if (known == LG_GAMMA && ExPropertyGetGammaRange(nullptr, nullptr) != 0) {
        KV_LOG(2, "Can't get Gamma range");
    }
    const auto node = FindNode<GenApi::CFloatPtr>(nodeMap, propEntries[GAMMA_PROPERTY_TYPE].name);
    if (!node) {
        KV_LOG(2, "Can't get Gamma enum parameter");
        return nodeMap == nullptr ? -1 : -2;
    }
    const double gamma = node->GetValue();
    KV_LOG(3, "### get Gamma value: %f ###", gamma);
    Store(value, static_cast<float>(gamma));
    return 0;
}

int CExCam::ExPropertySetGamma(float value, td_lg_states* state)
{
    const double asked = static_cast<double>(value);
    // Deliberate: the caller's state is never changed, also when gamma is enabled here.
    // Gamma.SetLeavesTheCallersState
    const td_lg_states known = state != nullptr ? *state : ExPropertyGetLUTMode();
    if (known == LG_NONE) {
        return -1;
    }
    if (known == LG_GAMMA) {
        float min = 0;
        float max = 0;
        if (ExPropertyGetGammaRange(&min, &max) != 0) {
            KV_LOG(2, "Can't get Gamma range");
            return -5;
        }
        const double low = static_cast<double>(min);
        const double high = static_cast<double>(max);
        if (!(asked >= low - kGammaTolerance && asked <= high + kGammaTolerance)) {
            KV_LOG(2, "Asked Gamma value %f is out of bounds [%f..%f]", asked, low, high);
            return -6;
        }
    } else {
        KV_LOG(3, "### Gamma feature is disabled ###");
        if (ExPropertySetLUTMode(LG_GAMMA, nullptr) != 0) {
            KV_LOG(2, "Can't enable Gamma feature");
            return -4;
        }
    }
    const auto node = FindNode<GenApi::CFloatPtr>(nodeMap, propEntries[GAMMA_PROPERTY_TYPE].name);
    if (!node) {
        KV_LOG(2, "Can't get Gamma enum parameter");
        return nodeMap == nullptr ? -1 : -2;
    }
    node->SetValue(asked, true);
    KV_LOG(3, "### set Gamma value: %f ###", asked);
    return 0;
}

} // namespace KvTd
