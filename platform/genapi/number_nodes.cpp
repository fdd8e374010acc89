#include "nodes.h"
#include "value_text.h"
#include "write_check.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace genapi
{

IntegerNode::IntegerNode(AccessHook& hook, NodeSpec spec, Limits limits, std::int64_t value,
                         std::function<std::int64_t()> computed)
    : Feature(hook, std::move(spec)), limits_(std::move(limits)), computed_(std::move(computed)),
      cells_(CellCount(), value)
{
}

std::int64_t IntegerNode::GetValue(bool, bool)
{
    const AccessScope scope(hook_);
    BeginRead();
    const std::int64_t value = Value();
    if (hook_.Recording()) {
        EndRead("", ToText(value));
    }
    return value;
}

bool IntegerNode::Fits(std::int64_t value) const
{
    if (value < limits_.min || value > Max()) {
        return false;
    }
    // Unsigned, since the distance of extreme values does not fit a signed number.
    const auto distance =
        static_cast<std::uint64_t>(value) - static_cast<std::uint64_t>(limits_.min);
    return limits_.inc <= 0 || distance % static_cast<std::uint64_t>(limits_.inc) == 0;
}

std::string IntegerNode::Misfit(std::int64_t value) const
{
    if (Fits(value)) {
        return {};
    }
    return "outside minimum " + ToText(limits_.min) + ", maximum " + ToText(Max()) +
           " or increment " + ToText(limits_.inc);
}

void IntegerNode::SetValue(std::int64_t value, bool verify)
{
    const AccessScope scope(hook_);
    hook_.Enter();
    CheckWrite<GenICam_3_0::OutOfRangeException>(
        hook_, *this, verify, [&] { return ToText(value); }, [&] { return Misfit(value); });
    if (hook_.Recording()) {
        hook_.Record("cam", spec_.name + "=" + ToText(value));
    }
    Store(value);
    Written();
}

std::int64_t IntegerNode::GetMin()
{
    const AccessScope scope(hook_);
    BeginRead();
    if (hook_.Recording()) {
        EndRead(".Min", ToText(limits_.min));
    }
    return limits_.min;
}

std::int64_t IntegerNode::GetMax()
{
    const AccessScope scope(hook_);
    BeginRead();
    const std::int64_t max = Max();
    if (hook_.Recording()) {
        EndRead(".Max", ToText(max));
    }
    return max;
}

std::int64_t IntegerNode::GetInc()
{
    const AccessScope scope(hook_);
    BeginRead();
    if (hook_.Recording()) {
        EndRead(".Inc", ToText(limits_.inc));
    }
    return limits_.inc;
}

std::string IntegerNode::Text() const
{
    return ToText(Value());
}

bool IntegerNode::SetText(std::string_view text)
{
    const auto value = ParseInteger(text);
    if (!value) {
        return false;
    }
    Store(*value);
    Written();
    return true;
}

std::size_t IntegerNode::Positions() const
{
    return static_cast<std::size_t>(limits_.max - limits_.min + 1);
}

std::size_t IntegerNode::Position() const
{
    // A value that was stored past the checks must not leave the cells it selects.
    return static_cast<std::size_t>(std::clamp(Value(), limits_.min, limits_.max) - limits_.min);
}

FloatNode::FloatNode(AccessHook& hook, NodeSpec spec, Limits limits, double value,
                     std::function<double(double)> shown)
    : Feature(hook, std::move(spec)), limits_(std::move(limits)), shown_(std::move(shown)),
      cells_(CellCount(), value)
{
}

double FloatNode::Value() const
{
    const double stored = cells_[CellIndex()];
    return shown_ ? shown_(stored) : stored;
}

double FloatNode::GetValue(bool, bool)
{
    const AccessScope scope(hook_);
    BeginRead();
    const double value = Value();
    if (hook_.Recording()) {
        EndRead("", ToText(value));
    }
    return value;
}

std::string FloatNode::Misfit(double value) const
{
    if (value >= limits_.min && value <= Max()) { // false for a NaN, as it must be
        return {};
    }
    return "outside minimum " + ToText(limits_.min) + ", maximum " + ToText(Max());
}

double FloatNode::Settled(double value) const
{
    constexpr double kRounding = 1e-6; // of the limit
    const double max = Max();
    if (value > max && value - max < kRounding * std::abs(max)) {
        return max;
    }
    if (value < limits_.min && limits_.min - value < kRounding * std::abs(limits_.min)) {
        return limits_.min;
    }
    return value;
}

void FloatNode::SetValue(double value, bool verify)
{
    const AccessScope scope(hook_);
    hook_.Enter();
    if (verify) {
        value = Settled(value);
    }
    CheckWrite<GenICam_3_0::OutOfRangeException>(
        hook_, *this, verify, [&] { return ToText(value); }, [&] { return Misfit(value); });
    if (hook_.Recording()) {
        hook_.Record("cam", spec_.name + "=" + ToText(value));
    }
    cells_[CellIndex()] = value;
    Written();
}

double FloatNode::GetMin()
{
    const AccessScope scope(hook_);
    BeginRead();
    if (hook_.Recording()) {
        EndRead(".Min", ToText(limits_.min));
    }
    return limits_.min;
}

double FloatNode::GetMax()
{
    const AccessScope scope(hook_);
    BeginRead();
    const double max = Max();
    if (hook_.Recording()) {
        EndRead(".Max", ToText(max));
    }
    return max;
}

std::string FloatNode::Text() const
{
    return ToText(Value());
}

bool FloatNode::SetText(std::string_view text)
{
    const auto value = ParseFloat(text);
    if (!value) {
        return false;
    }
    cells_[CellIndex()] = *value;
    Written();
    return true;
}

BooleanNode::BooleanNode(AccessHook& hook, NodeSpec spec, bool value)
    : Feature(hook, std::move(spec)), cells_(CellCount(), value ? 1 : 0)
{
}

bool BooleanNode::GetValue(bool, bool)
{
    const AccessScope scope(hook_);
    BeginRead();
    const bool value = Value();
    if (hook_.Recording()) {
        EndRead("", ToText(value));
    }
    return value;
}

void BooleanNode::SetValue(bool value, bool verify)
{
    const AccessScope scope(hook_);
    hook_.Enter();
    CheckWrite<GenICam_3_0::OutOfRangeException>(
        hook_, *this, verify, [&] { return ToText(value); }, [] { return std::string(); });
    if (hook_.Recording()) {
        hook_.Record("cam", spec_.name + "=" + ToText(value));
    }
    cells_[CellIndex()] = value ? 1 : 0;
    Written();
}

std::string BooleanNode::Text() const
{
    return ToText(Value());
}

bool BooleanNode::SetText(std::string_view text)
{
    const auto value = ParseBoolean(text);
    if (!value) {
        return false;
    }
    cells_[CellIndex()] = *value ? 1 : 0;
    Written();
    return true;
}

} // namespace genapi
