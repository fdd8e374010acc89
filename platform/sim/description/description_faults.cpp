#include "sim/description/description_faults.h"

#include "sim/description/fault_names.h"

#include <algorithm>
#include <iterator>

namespace sim
{

namespace
{

constexpr std::size_t kSerialMost = kGevTextSize - 1;
constexpr std::size_t kTextMost = 1000;
constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
/** Over thirty years: added to any clock it stays within 64 bits. */
constexpr std::int64_t kLongestNs = 1'000'000'000'000'000'000;

bool IsAccess(Trigger trigger)
{
    return trigger == Trigger::Access || trigger == Trigger::Read || trigger == Trigger::Write;
}

bool Fits(Effect effect, Trigger trigger)
{
    switch (effect) {
    case Effect::Throw:
        return IsAccess(trigger);
    case Effect::Fail:
        return trigger == Trigger::Call;
    case Effect::Delay:
        return trigger != Trigger::Time;
    case Effect::JumpTicks:
        return trigger == Trigger::Frame || trigger == Trigger::Time;
    case Effect::Detach:
        return true;
    default:
        return trigger == Trigger::Frame;
    }
}

/** What `value` may be, as the effect takes it. */
void ReadFaultValue(TableReader& reader, Fault* fault)
{
    switch (fault->effect) {
    case Effect::Fail:
        reader.Require("value", "the status that the call returns");
        reader.Whole("value", std::numeric_limits<std::int32_t>::min(),
                     std::numeric_limits<std::int32_t>::max(), &fault->value);
        return;
    case Effect::Delay:
        reader.Require("value", "nanoseconds");
        reader.Whole("value", 1, kLongestNs, &fault->value);
        return;
    case Effect::Timestamp:
        reader.Require("value", "ticks");
        reader.Whole("value", 0, kMost, &fault->value);
        return;
    case Effect::JumpTicks:
        reader.Require("value", "ticks");
        reader.Whole("value", kLeast, kMost, &fault->value);
        return;
    case Effect::Detach:
        reader.Whole("value", 0, kLongestNs, &fault->value);
        return;
    default:
        reader.Forbid("value", "this effect takes none");
    }
}

} // namespace

void FaultReader::ReadCamera(TableReader& reader, Fault* fault) const
{
    const toml::node* node = reader.Find("camera");
    if (node == nullptr) {
        return;
    }
    reader.Text("camera", 0, kSerialMost, &fault->camera);
    const auto named = [&](const CameraSetup& setup) { return setup.serial == fault->camera; };
    if (!fault->camera.empty() && std::none_of(cameras_.begin(), cameras_.end(), named)) {
        reader.RefuseValue("camera", *node, "the serial of a camera of this file");
    }
}

bool FaultReader::Knows(std::string_view feature)
{
    return mono_.HasFeature(feature) || color_.HasFeature(feature);
}

void FaultReader::ReadName(TableReader& reader, Fault* fault)
{
    if (fault->trigger == Trigger::Frame || fault->trigger == Trigger::Time) {
        reader.Forbid("name", "frames and points in time have none");
        return;
    }
    const toml::node* node = reader.Find("name");
    if (node == nullptr) {
        return;
    }
    reader.Text("name", 0, kSerialMost, &fault->name);
    if (fault->name.empty()) {
        return;
    }
    if (IsAccess(fault->trigger) && !Knows(fault->name)) {
        reader.RefuseValue("name", *node, "the name of a feature");
    }
    if (fault->trigger == Trigger::Call && std::find(std::begin(kCallNames), std::end(kCallNames),
                                                     fault->name) == std::end(kCallNames)) {
        reader.RefuseValue("name", *node, "a camera call such as \"GevOpenCamera\"");
    }
}

Fault FaultReader::Read(const toml::table& table)
{
    Fault fault;
    TableReader reader(table, "[[fault]]");
    reader.Require("trigger", "access, read, write, call, frame or time");
    reader.Require("effect", "what happens, such as throw or lose");
    reader.Choice("trigger", base::Names<Trigger>(kTriggerNames), &fault.trigger);
    reader.Choice("effect", base::Names<Effect>(kEffectNames), &fault.effect);
    if (!Fits(fault.effect, fault.trigger)) {
        std::vector<std::string_view> fitting;
        for (const auto& [name, effect] : kEffectNames) {
            if (Fits(effect, fault.trigger)) {
                fitting.push_back(name);
            }
        }
        reader.RefuseValue("effect", *table.get("effect"),
                           reader.OneOf(fitting) + " with the trigger " +
                               std::string(NameOf(fault.trigger)));
    }
    ReadCamera(reader, &fault);
    ReadName(reader, &fault);
    if (fault.trigger == Trigger::Time) {
        reader.Require("nth", "nanoseconds from when the file is loaded");
        reader.Whole("nth", 0, kLongestNs, &fault.nth);
        reader.Forbid("times", "a point in time comes once");
    } else {
        reader.Whole("nth", 1, kMost, &fault.nth);
        reader.Whole("times", 0, kMost, &fault.times);
    }
    ReadFaultValue(reader, &fault);
    if (fault.effect == Effect::Throw) {
        reader.Choice("exception", base::Names<ExceptionKind>(kExceptionNames), &fault.exception);
        reader.Text("text", 0, kTextMost, &fault.text);
    } else {
        reader.Forbid("exception", "only throw raises one");
        reader.Forbid("text", "only throw has one");
    }
    reader.RefuseOthers();
    return fault;
}

} // namespace sim
