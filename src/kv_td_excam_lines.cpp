/** CExCam: output lines. Control thread. */
#include "kv_td_excam.h"
#include "kv_td_log.h"
#include "kv_td_nodes.h"

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_excam";

static constexpr std::uint32_t kUnset = 0xFFFFFFFF;

/** Writes a value that the feature takes right now; leaves it alone otherwise. */
static void SetIfPossible(const GenApi::CIntegerPtr& node, std::uint32_t value)
{
    if (value == kUnset || value < node->GetMin() || value > node->GetMax()) {
        return;
    }
    const GenApi::EAccessMode mode = node->GetAccessMode();
    if (GenApi::IsReadable(mode) && GenApi::IsWritable(mode)) {
        node->SetValue(value, true);
    }
}

int CExCam::ExSetLineModeOutStrobe(td_pins pin, bool onOff, bool polarity, std::uint32_t delayUs,
                                   std::uint32_t widthUs)
{
    constexpr std::uint32_t kLine3 = 2; // a set's index, not a host's pin
    constexpr std::uint32_t kLine4 = 3;

    if (nodeMap == nullptr) {
        KV_LOG(2, "Can't get dev params to configure Out line");
        return -1;
    }
    if (pin != kLine3 && pin != kLine4) {
        KV_LOG(2, "The input parameter (pin=%i) is not supported for output configuration",
               static_cast<int>(pin));
        return -1;
    }
    // Deliberate: a feature that is missing raises before anything is written, also to switch off.
    // Strobe.WhatIsMissingIsRefusedBeforeAnyWrite
    const auto selector = RequireNode<GenApi::CEnumerationPtr>(nodeMap, "LineSelector");
    const auto source = RequireNode<GenApi::CEnumerationPtr>(nodeMap, "outputLineSource");
    const auto inverter = RequireNode<GenApi::CBooleanPtr>(nodeMap, "LineInverter");
    const auto delay = RequireNode<GenApi::CIntegerPtr>(nodeMap, "outputLinePulseDelay");
    const auto duration = RequireNode<GenApi::CIntegerPtr>(nodeMap, "outputLinePulseDuration");

    selector->FromString(pin == kLine3 ? "Line3" : "Line4", true);
    if (onOff) {
        source->FromString("ExposureActive", true);
        inverter->SetValue(polarity, true);
        SetIfPossible(delay, delayUs);
        if (widthUs != 0) {
            SetIfPossible(duration, widthUs);
        }
    } else {
        source->FromString("Off", true);
    }
    KV_LOG(3, "### set strobe on pin %i: onOff=%u polarity=%u (delay=%uus, width=%uus) ###",
           static_cast<int>(pin), static_cast<unsigned>(onOff), static_cast<unsigned>(polarity),
           delayUs, widthUs);
    return 0;
}

} // namespace KvTd
