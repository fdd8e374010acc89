#include "tests/faults/fault.h"

#include "sim/description/fault_names.h"

#include <algorithm>
#include <limits>
#include <regex>

namespace faults
{

namespace
{

using base::Named;
using sim::Effect;

constexpr Named<int> kStatuses[] = {{"gev_error", kGevError},
                                    {"gev_timeout", kGevTimeout},
                                    {"gev_no_memory", kGevNoMemory},
                                    {"gev_unknown", 1}};

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
using Increment = std::numeric_limits<std::int64_t>;
const Named<sim::RangeSetup> kRanges[] = {{"inverted", {{}, 1000, 10, 1}},
                                          {"empty", {{}, 0, 0, 1}},
                                          {"zero_increment", {{}, 0, 100'000, 0}},
                                          {"negative_increment", {{}, 0, 100'000, -4}},
                                          {"huge", {{}, -1e300, 1e300, Increment::max()}},
                                          {"not_a_number", {{}, kNan, kNan, Increment::min()}}};

using CameraText = std::string sim::CameraSetup::*;
constexpr Named<CameraText> kCameraTexts[] = {{"manufacturer", &sim::CameraSetup::manufacturer},
                                              {"model", &sim::CameraSetup::modelName},
                                              {"serial", &sim::CameraSetup::serial},
                                              {"version", &sim::CameraSetup::version}};

bool IsOfOutputLine(const std::string& feature)
{
    return feature.starts_with("Line") || feature.starts_with("outputLine");
}

/** Of the faults that are armed in the camera. */
sim::Fault CameraFault(const Fault& fault)
{
    constexpr std::int64_t kLateNs = 3'000'000'000; // a delay, or a jump of the camera's clock
    sim::Fault made;
    made.trigger = *sim::TriggerOf(fault.where);
    made.name = fault.name == "any" ? "" : fault.name;
    made.nth = fault.nth;
    if (const auto exception = sim::ExceptionOf(fault.how)) {
        made.exception = *exception;
    } else if (const auto status = base::ValueIn<int>(kStatuses, fault.how)) {
        made.effect = Effect::Fail;
        made.value = *status;
    } else {
        made.effect = *sim::EffectOf(fault.how);
        const bool late = made.effect == Effect::Delay || made.effect == Effect::JumpTicks;
        made.value = late ? kLateNs : 0;
    }
    return made;
}

} // namespace

Ways WaysOf(std::string_view where)
{
    Ways ways;
    if (where == "read" || where == "write") {
        ways = base::NameList<sim::ExceptionKind>(sim::kExceptionNames);
        ways.emplace_back("detach");
    } else if (where == "call") {
        ways = base::NameList<int>(kStatuses);
        ways.insert(ways.end(), {"delay", "detach"});
    } else if (where == "frame") {
        ways = base::NameList<Effect>(sim::kEffectNames);
        std::erase_if(ways, [](std::string_view how) { return how == "throw" || how == "fail"; });
    } else if (where == "range") {
        ways = base::NameList<sim::RangeSetup>(kRanges);
    } else if (where == "text") {
        ways = {"long_text", "empty_text"};
    } else if (where == "host") {
        for (const Ways& extremes : {base::NameList<int>(rig::kExtremes<int>),
                                     base::NameList<float>(rig::kExtremes<float>),
                                     base::NameList<const char*>(rig::kExtremes<const char*>)}) {
            ways.insert(ways.end(), extremes.begin(), extremes.end());
        }
    }
    return ways;
}

std::vector<std::string_view> CameraTexts()
{
    return base::NameList<CameraText>(kCameraTexts);
}

std::string Fault::Text() const
{
    return where + ":" + name + ":" + std::to_string(nth) + ":" + how;
}

std::optional<Fault> Fault::Parse(const std::string& text)
{
    static const std::regex form("([a-z]+):(\\w+):([0-9]{1,9}):(\\w+)");
    std::smatch parts;
    if (!std::regex_match(text, parts, form)) {
        return std::nullopt;
    }
    const Fault fault{parts[1], parts[2], std::stoul(parts[3]), parts[4]};
    const Ways ways = WaysOf(fault.where);
    const bool known =
        std::count(ways.begin(), ways.end(), fault.how) != 0 &&
        (fault.where != "text" || base::ValueIn<CameraText>(kCameraTexts, fault.name));
    return known ? std::optional(fault) : std::nullopt;
}

void Fault::ShapeCamera(sim::CameraSetup* camera) const
{
    if (where == "range") {
        sim::RangeSetup range = *base::ValueIn<sim::RangeSetup>(kRanges, how);
        range.feature = name;
        camera->ranges.push_back(range);
    } else if (where == "text") {
        std::string& text = camera->**base::ValueIn<CameraText>(kCameraTexts, name);
        // With a long manufacturer's name the camera still is the manufacturer's.
        const std::string end = name == "manufacturer" ? "DALSA" : "z";
        text = how == "empty_text" ? "" : std::string(kGevTextSize - 1 - end.size(), name[0]) + end;
    }
}

void Fault::Arm(rig::FakeHost* host) const
{
    if (where == "host") {
        host->tamperings.push_back({name, nth, how});
    } else if (where != "range" && where != "text") {
        sim::AddFault(CameraFault(*this));
    }
}

bool Fault::ThrowsOnControlThread() const
{
    return sim::ExceptionOf(how) && IsOfOutputLine(name);
}

bool Fault::MayThrowOnControlThread() const
{
    return how == "detach" || (where == "range" && IsOfOutputLine(name));
}

bool Fault::HidesCamera() const
{
    return where == "text" && name == "manufacturer" && how == "empty_text";
}

} // namespace faults
