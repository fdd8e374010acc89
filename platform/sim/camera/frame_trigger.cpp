#include "sim/camera/frame_trigger.h"

#include "sim/camera/timing.h"

#include <algorithm>

namespace sim
{

FrameTrigger::FrameTrigger(const CameraFeatures& features, const CameraSetup& setup,
                           std::int64_t powerUpNs)
    : features_(features), driftPpm_(setup.driftPpm), pulsedLine_(setup.triggerLine),
      pulses_(setup, powerUpNs)
{
}

std::int64_t FrameTrigger::DelayNs() const
{
    // The order of the comparisons turns a NaN that a script stored into no delay.
    return ClockNs(std::min(1e9, std::max(0.0, features_.trigger.delay->Value())), driftPpm_);
}

void FrameTrigger::Reset(std::int64_t nowNs)
{
    fromNs_ = nowNs;
    softwareNs_ = kNever;
}

void FrameTrigger::Fire(std::int64_t nowNs, std::int64_t freeNs)
{
    const std::int64_t startNs = nowNs + DelayNs();
    if (softwareNs_ == kNever && startNs >= freeNs) {
        softwareNs_ = startNs;
    }
}

/** The next edge of the source's line that TriggerActivation asks for. */
std::int64_t FrameTrigger::NextEdgeNs(std::int64_t fromNs) const
{
    const TriggerFeatures& trigger = features_.trigger;
    if (trigger.source->Value() != pulsedLine_) {
        return kNever; // nothing is connected to the other lines
    }
    const std::string_view activation = trigger.activation->Symbolic();
    const bool inverted = features_.lines.inverter->At(static_cast<std::size_t>(pulsedLine_ - 1));
    const char* const atBegin = inverted ? "FallingEdge" : "RisingEdge";
    const bool any = activation == "AnyEdge";
    std::int64_t edgeNs = kNever;
    if (any || activation == atBegin) {
        edgeNs = pulses_.NextBeginNs(fromNs);
    }
    if (any || activation != atBegin) {
        edgeNs = std::min(edgeNs, pulses_.NextEndNs(fromNs));
    }
    return edgeNs;
}

std::int64_t FrameTrigger::NextStartNs(std::int64_t freeNs) const
{
    if (softwareNs_ != kNever) {
        return std::max(softwareNs_, freeNs);
    }
    const std::int64_t delayNs = DelayNs();
    const std::int64_t edgeNs = NextEdgeNs(std::max(fromNs_, freeNs - delayNs));
    return edgeNs == kNever ? kNever : edgeNs + delayNs;
}

void FrameTrigger::Started(std::int64_t startNs)
{
    softwareNs_ = kNever;
    fromNs_ = startNs - DelayNs() + 1;
}

} // namespace sim
