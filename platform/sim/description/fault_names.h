/** The names that descriptions of simulated networks use for triggers, effects and exceptions, and
 *  the camera calls that a fault can be tied to. */
#pragma once

#include "base/names.h"
#include "sim_control.h"

#include <optional>
#include <string_view>

namespace sim
{

inline constexpr base::Named<Trigger> kTriggerNames[] = {
    {"access", Trigger::Access}, {"read", Trigger::Read},   {"write", Trigger::Write},
    {"call", Trigger::Call},     {"frame", Trigger::Frame}, {"time", Trigger::Time}};

inline constexpr base::Named<Effect> kEffectNames[] = {{"throw", Effect::Throw},
                                                       {"fail", Effect::Fail},
                                                       {"lose", Effect::Lose},
                                                       {"incomplete", Effect::Incomplete},
                                                       {"delay", Effect::Delay},
                                                       {"null_image", Effect::NullImage},
                                                       {"null_frame", Effect::NullFrame},
                                                       {"timestamp", Effect::Timestamp},
                                                       {"zero_timestamp", Effect::ZeroTimestamp},
                                                       {"jump_ticks", Effect::JumpTicks},
                                                       {"detach", Effect::Detach}};

inline constexpr base::Named<ExceptionKind> kExceptionNames[] = {
    {"invalid_argument", ExceptionKind::InvalidArgument},
    {"property", ExceptionKind::Property},
    {"logical_error", ExceptionKind::LogicalError},
    {"out_of_range", ExceptionKind::OutOfRange},
    {"runtime", ExceptionKind::Runtime},
    {"access", ExceptionKind::Access},
    {"timeout", ExceptionKind::Timeout},
    {"dynamic_cast", ExceptionKind::DynamicCast},
    {"standard", ExceptionKind::Standard},
    {"unknown", ExceptionKind::Unknown}};

inline constexpr std::string_view kCallNames[] = {"GevGetCameraList",
                                                  "GevOpenCamera",
                                                  "GevCloseCamera",
                                                  "GevApiUninitialize",
                                                  "_CloseSocketAPI",
                                                  "GevGetCameraInfo",
                                                  "GevGetFeatureNodeMap",
                                                  "GevGetCameraInterfaceOptions",
                                                  "GevSetCameraInterfaceOptions",
                                                  "GevGetFeatureValue",
                                                  "GevSetFeatureValue",
                                                  "GevGetPayloadParameters",
                                                  "GevInitializeTransfer",
                                                  "GevStartTransfer",
                                                  "GevAbortTransfer",
                                                  "GevFreeTransfer",
                                                  "GevWaitForNextFrame",
                                                  "GevReleaseFrame",
                                                  "GevGetTransferStatistics"};

constexpr std::string_view NameOf(Trigger trigger)
{
    return base::NameIn<Trigger>(kTriggerNames, trigger);
}
constexpr std::string_view NameOf(Effect effect)
{
    return base::NameIn<Effect>(kEffectNames, effect);
}
constexpr std::string_view NameOf(ExceptionKind exception)
{
    return base::NameIn<ExceptionKind>(kExceptionNames, exception);
}

constexpr std::optional<Trigger> TriggerOf(std::string_view name)
{
    return base::ValueIn<Trigger>(kTriggerNames, name);
}
constexpr std::optional<Effect> EffectOf(std::string_view name)
{
    return base::ValueIn<Effect>(kEffectNames, name);
}
constexpr std::optional<ExceptionKind> ExceptionOf(std::string_view name)
{
    return base::ValueIn<ExceptionKind>(kExceptionNames, name);
}

} // namespace sim
