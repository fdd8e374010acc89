#include "tests/faults/fault.h"

#include "sim/description/fault_names.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace faults
{

namespace
{

using base::Named;
using rig::Extreme;
using sim::Effect;

constexpr Named<Extreme> kExtremes[] = {{"zero", Extreme::Zero},
                                        {"minus_one", Extreme::MinusOne},
                                        {"lowest", Extreme::Lowest},
                                        {"highest", Extreme::Highest},
                                        {"not_a_number", Extreme::NotANumber},
                                        {"infinite", Extreme::Infinite},
                                        {"minus_infinite", Extreme::MinusInfinite},
                                        {"null", Extreme::Null},
                                        {"empty_text", Extreme::EmptyText},
                                        {"long_text", Extreme::LongText}};

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

template <class Number> std::optional<Number> ParseNumber(std::string_view text)
{
    Number number = 0;
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, number);
    return error == std::errc() && end == last ? std::optional(number) : std::nullopt;
}

template <class Rows> void AddNames(const Rows& rows, Ways* ways)
{
    for (const auto& row : rows) {
        ways->emplace_back(row.name);
    }
}

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
    } else if (const auto effect = sim::EffectOf(fault.how)) {
        made.effect = *effect;
        made.value = effect == Effect::Delay || effect == Effect::JumpTicks ? kLateNs : 0;
    } else {
        made.effect = Effect::Fail;
        made.value = *ParseNumber<std::int64_t>(fault.how);
    }
    return made;
}

} // namespace

Ways WaysOf(std::string_view where, rig::AnswerKind kind)
{
    Ways ways;
    if (where == "read" || where == "write") {
        AddNames(sim::kExceptionNames, &ways);
        ways.emplace_back("detach");
    } else if (where == "call") {
        for (const int status : {int{kGevError}, int{kGevTimeout}, int{kGevNoMemory}, 1}) {
            ways.push_back(std::to_string(status));
        }
        ways.insert(ways.end(), {"delay", "detach"});
    } else if (where == "frame") {
        AddNames(sim::kEffectNames, &ways);
        std::erase_if(ways, [](std::string_view how) { return how == "throw" || how == "fail"; });
    } else if (where == "range") {
        AddNames(kRanges, &ways);
    } else if (where == "text") {
        ways = {"long_text", "empty_text"};
    } else if (where == "host") {
        const std::array<Ways, 4> answers = {
            Ways{"zero", "minus_one", "lowest", "highest"},
            {"zero", "lowest", "highest", "not_a_number", "infinite", "minus_infinite"},
            {"null", "empty_text", "long_text"},
            {"null"}}; // in the order of rig::AnswerKind
        ways = answers.at(static_cast<std::size_t>(kind));
    }
    return ways;
}

std::vector<std::string> CameraTexts()
{
    std::vector<std::string> names;
    AddNames(kCameraTexts, &names);
    return names;
}

std::string Fault::Text() const
{
    return where + ":" + name + ":" + std::to_string(nth) + ":" + how;
}

std::optional<Fault> Fault::Parse(std::string_view text)
{
    std::array<std::string_view, 4> parts;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const std::size_t colon = i + 1 < parts.size() ? text.find(':') : text.size();
        if (colon == std::string_view::npos) {
            return std::nullopt;
        }
        parts[i] = text.substr(0, colon);
        text.remove_prefix(std::min(colon + 1, text.size()));
    }
    const auto& [where, name, occurrence, how] = parts;
    const auto nth = ParseNumber<std::uint64_t>(occurrence);
    const Ways ways = WaysOf(where);
    const bool known = where == "host" ? base::ValueIn<Extreme>(kExtremes, how).has_value()
                                       : std::count(ways.begin(), ways.end(), how) != 0 ||
                                             (where == "call" && ParseNumber<std::int64_t>(how));
    if (!nth || !known || (where == "text" && !base::ValueIn<CameraText>(kCameraTexts, name))) {
        return std::nullopt;
    }
    return Fault{std::string(where), std::string(name), *nth, std::string(how)};
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
        host->tamperings.push_back({name, nth, *base::ValueIn<Extreme>(kExtremes, how)});
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

} // namespace faults
