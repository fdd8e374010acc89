#include "tests/faults/fault.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <limits>

namespace faults
{

namespace
{

using rig::AnswerKind;
using rig::Extreme;
using sim::Effect;
using sim::ExceptionKind;
using sim::Trigger;

template <class Value> struct Name {
    const char* text;
    Value value;
};

constexpr Name<Trigger> kPlaces[] = {{"read", Trigger::Read},
                                     {"write", Trigger::Write},
                                     {"call", Trigger::Call},
                                     {"frame", Trigger::Frame}};

constexpr Name<ExceptionKind> kExceptions[] = {{"InvalidArgument", ExceptionKind::InvalidArgument},
                                               {"Property", ExceptionKind::Property},
                                               {"LogicalError", ExceptionKind::LogicalError},
                                               {"OutOfRange", ExceptionKind::OutOfRange},
                                               {"Runtime", ExceptionKind::Runtime},
                                               {"Access", ExceptionKind::Access},
                                               {"Timeout", ExceptionKind::Timeout},
                                               {"DynamicCast", ExceptionKind::DynamicCast},
                                               {"Standard", ExceptionKind::Standard},
                                               {"Unknown", ExceptionKind::Unknown}};

constexpr Name<Effect> kEffects[] = {
    {"Lose", Effect::Lose},           {"Incomplete", Effect::Incomplete},
    {"Delay", Effect::Delay},         {"NullImage", Effect::NullImage},
    {"NullFrame", Effect::NullFrame}, {"Timestamp", Effect::Timestamp},
    {"JumpTicks", Effect::JumpTicks}, {"ZeroTimestamp", Effect::ZeroTimestamp},
    {"Detach", Effect::Detach}};

constexpr Name<Extreme> kExtremes[] = {{"Zero", Extreme::Zero},
                                       {"MinusOne", Extreme::MinusOne},
                                       {"Lowest", Extreme::Lowest},
                                       {"Highest", Extreme::Highest},
                                       {"NotANumber", Extreme::NotANumber},
                                       {"Infinite", Extreme::Infinite},
                                       {"MinusInfinite", Extreme::MinusInfinite},
                                       {"Null", Extreme::Null},
                                       {"EmptyText", Extreme::EmptyText},
                                       {"LongText", Extreme::LongText}};

constexpr Name<Nonsense> kNonsense[] = {{"Inverted", Nonsense::Inverted},
                                        {"Empty", Nonsense::Empty},
                                        {"ZeroIncrement", Nonsense::ZeroIncrement},
                                        {"NegativeIncrement", Nonsense::NegativeIncrement},
                                        {"Huge", Nonsense::Huge},
                                        {"NotANumber", Nonsense::NotANumber}};

constexpr Name<std::string sim::CameraSetup::*> kCameraTexts[] = {
    {"manufacturer", &sim::CameraSetup::manufacturer},
    {"model", &sim::CameraSetup::modelName},
    {"serial", &sim::CameraSetup::serial},
    {"version", &sim::CameraSetup::version}};

constexpr std::int64_t kLateNs = 3'000'000'000; ///< a frame's delay, a jump of its clock

template <class Table, class Value> std::string TextIn(const Table& table, Value value)
{
    const auto row = std::find_if(std::begin(table), std::end(table),
                                  [value](const auto& one) { return one.value == value; });
    return row == std::end(table) ? "?" : row->text;
}

template <class Value, class Table>
std::optional<Value> ValueIn(const Table& table, std::string_view text)
{
    for (const auto& row : table) {
        if (text == row.text) {
            return row.value;
        }
    }
    return std::nullopt;
}

template <class Number> std::optional<Number> ParseNumber(std::string_view text)
{
    Number number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number)
                                                                    : std::nullopt;
}

sim::Fault CameraFault(Trigger trigger, const std::string& name, Effect effect)
{
    sim::Fault fault;
    fault.trigger = trigger;
    fault.name = name;
    fault.effect = effect;
    fault.value = effect == Effect::Delay || effect == Effect::JumpTicks ? kLateNs : 0;
    return fault;
}

std::vector<Fault> WaysOfAccess(Trigger trigger, const std::string& feature)
{
    std::vector<Fault> ways;
    for (const auto& row : kExceptions) {
        sim::Fault fault = CameraFault(trigger, feature, Effect::Throw);
        fault.exception = row.value;
        ways.push_back({fault});
    }
    ways.push_back({CameraFault(trigger, feature, Effect::Detach)});
    return ways;
}

/** Fills in what the last part of a fault's text says. */
bool ParseHow(std::string_view how, sim::Fault* fault)
{
    if (fault->trigger == Trigger::Call) {
        if (const auto status = ParseNumber<std::int64_t>(how)) {
            fault->effect = Effect::Fail;
            fault->value = *status;
            return true;
        }
    } else if (const auto exception = ValueIn<ExceptionKind>(kExceptions, how)) {
        fault->effect = Effect::Throw;
        fault->exception = *exception;
        return fault->trigger != Trigger::Frame;
    }
    const auto effect = ValueIn<Effect>(kEffects, how);
    if (effect) {
        *fault = CameraFault(fault->trigger, fault->name, *effect);
    }
    return effect.has_value();
}

} // namespace

std::string Fault::Text() const
{
    if (const auto* host = std::get_if<rig::FakeHost::Tampering>(&what)) {
        return "host:" + host->service + ":" + std::to_string(host->nth) + ":" +
               TextIn(kExtremes, host->extreme);
    }
    if (const auto* range = std::get_if<StrangeRange>(&what)) {
        return "range:" + range->feature + ":1:" + TextIn(kNonsense, range->nonsense);
    }
    if (const auto* text = std::get_if<CameraText>(&what)) {
        return "text:" + text->field + ":1:" + TextIn(kExtremes, text->extreme);
    }
    const auto& camera = std::get<sim::Fault>(what);
    const std::string how = camera.effect == Effect::Fail    ? std::to_string(camera.value)
                            : camera.effect == Effect::Throw ? TextIn(kExceptions, camera.exception)
                                                             : TextIn(kEffects, camera.effect);
    return TextIn(kPlaces, camera.trigger) + ":" + (camera.name.empty() ? "any" : camera.name) +
           ":" + std::to_string(camera.nth) + ":" + how;
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
    const auto nth = ParseNumber<std::uint64_t>(parts[2]);
    if (!nth) {
        return std::nullopt;
    }
    if (parts[0] == "host") {
        const auto extreme = ValueIn<Extreme>(kExtremes, parts[3]);
        if (!extreme) {
            return std::nullopt;
        }
        return Fault{rig::FakeHost::Tampering{std::string(parts[1]), *nth, *extreme}};
    }
    if (parts[0] == "range") {
        const auto nonsense = ValueIn<Nonsense>(kNonsense, parts[3]);
        if (!nonsense) {
            return std::nullopt;
        }
        return Fault{StrangeRange{std::string(parts[1]), *nonsense}};
    }
    if (parts[0] == "text") {
        const auto extreme = ValueIn<Extreme>(kExtremes, parts[3]);
        if (!extreme || !ValueIn<std::string sim::CameraSetup::*>(kCameraTexts, parts[1])) {
            return std::nullopt;
        }
        return Fault{CameraText{std::string(parts[1]), *extreme}};
    }
    const auto place = ValueIn<Trigger>(kPlaces, parts[0]);
    if (!place) {
        return std::nullopt;
    }
    sim::Fault fault =
        CameraFault(*place, parts[1] == "any" ? "" : std::string(parts[1]), Effect::Throw);
    if (!ParseHow(parts[3], &fault)) {
        return std::nullopt;
    }
    fault.nth = *nth;
    return Fault{fault};
}

static bool IsOfOutputLine(const std::string& feature)
{
    return feature.starts_with("Line") || feature.starts_with("outputLine");
}

bool Fault::ThrowsOnControlThread() const
{
    const auto* camera = std::get_if<sim::Fault>(&what);
    return camera != nullptr && camera->effect == Effect::Throw && IsOfOutputLine(camera->name);
}

bool Fault::MayThrowOnControlThread() const
{
    if (const auto* range = std::get_if<StrangeRange>(&what)) {
        return IsOfOutputLine(range->feature);
    }
    const auto* camera = std::get_if<sim::Fault>(&what);
    return camera != nullptr && camera->effect == Effect::Detach;
}

std::vector<Fault> WaysOfRead(const std::string& feature)
{
    return WaysOfAccess(Trigger::Read, feature);
}

std::vector<Fault> WaysOfWrite(const std::string& feature)
{
    return WaysOfAccess(Trigger::Write, feature);
}

std::vector<Fault> WaysOfCall(const std::string& call)
{
    std::vector<Fault> ways;
    for (const int status : {int{kGevError}, int{kGevTimeout}, int{kGevNoMemory}, 1}) {
        sim::Fault fault = CameraFault(Trigger::Call, call, Effect::Fail);
        fault.value = status;
        ways.push_back({fault});
    }
    ways.push_back({CameraFault(Trigger::Call, call, Effect::Delay)});
    ways.push_back({CameraFault(Trigger::Call, call, Effect::Detach)});
    return ways;
}

std::vector<Fault> WaysOfAnswer(const std::string& service, AnswerKind kind)
{
    const auto ways = [&service](std::initializer_list<Extreme> extremes) {
        std::vector<Fault> faults;
        for (const Extreme extreme : extremes) {
            faults.push_back({rig::FakeHost::Tampering{service, 1, extreme}});
        }
        return faults;
    };
    switch (kind) {
    case AnswerKind::Integer:
        return ways({Extreme::Zero, Extreme::MinusOne, Extreme::Lowest, Extreme::Highest});
    case AnswerKind::Float:
        return ways({Extreme::Zero, Extreme::Lowest, Extreme::Highest, Extreme::NotANumber,
                     Extreme::Infinite, Extreme::MinusInfinite});
    case AnswerKind::Text:
        return ways({Extreme::Null, Extreme::EmptyText, Extreme::LongText});
    case AnswerKind::Pointer:
        break;
    }
    return ways({Extreme::Null});
}

std::vector<Fault> WaysOfFrame()
{
    std::vector<Fault> ways;
    for (const auto& row : kEffects) {
        ways.push_back({CameraFault(Trigger::Frame, "", row.value)});
    }
    return ways;
}

std::vector<Fault> WaysOfRange(const std::string& feature)
{
    std::vector<Fault> ways;
    for (const auto& row : kNonsense) {
        ways.push_back({StrangeRange{feature, row.value}});
    }
    return ways;
}

sim::RangeSetup StrangeRange::Setup() const
{
    switch (nonsense) {
    case Nonsense::Inverted:
        return {feature, 1000, 10, 1};
    case Nonsense::Empty:
        return {feature, 0, 0, 1};
    case Nonsense::ZeroIncrement:
        return {feature, 0, 100'000, 0};
    case Nonsense::NegativeIncrement:
        return {feature, 0, 100'000, -4};
    case Nonsense::Huge:
        return {feature, -1e300, 1e300, std::numeric_limits<std::int64_t>::max()};
    case Nonsense::NotANumber:
        break;
    }
    const double none = std::numeric_limits<double>::quiet_NaN();
    return {feature, none, none, std::numeric_limits<std::int64_t>::min()};
}

std::vector<Fault> WaysOfCameraTexts()
{
    std::vector<Fault> ways;
    for (const auto& row : kCameraTexts) {
        ways.push_back({CameraText{row.text, Extreme::LongText}});
        if (row.value != &sim::CameraSetup::modelName) { // then it has the model's own name
            ways.push_back({CameraText{row.text, Extreme::EmptyText}});
        }
    }
    return ways;
}

void CameraText::Apply(sim::CameraSetup* camera) const
{
    const auto member = ValueIn<std::string sim::CameraSetup::*>(kCameraTexts, field);
    const std::string_view end = field == "manufacturer" ? "DALSA" : "z";
    std::string& text = camera->**member;
    text.clear();
    if (extreme == Extreme::LongText) {
        text.assign(kGevTextSize - 1 - end.size(), field.front());
        text += end;
    }
}

bool CameraText::Hides() const
{
    return field == "manufacturer" && extreme == Extreme::EmptyText;
}

void SetOccurrence(Fault* fault, std::uint64_t nth)
{
    std::visit([nth](auto& what) { what.nth = nth; }, fault->what);
}

} // namespace faults
