#include "genapi/nodes.h"
#include "genapi/value_text.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace genapi
{

namespace
{

/** The nearest 64-bit integer. */
std::int64_t WholeNumber(double value)
{
    constexpr double kBeyond = 9223372036854775808.0;
    if (std::isnan(value)) {
        return 0;
    }
    if (value >= kBeyond) {
        return std::numeric_limits<std::int64_t>::max();
    }
    return value < -kBeyond ? std::numeric_limits<std::int64_t>::min()
                            : static_cast<std::int64_t>(value);
}

} // namespace

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
    if (injection::JournalIsOn()) {
        injection::JournalRead(spec_.name, "", ToText(value));
    }
    return value;
}

std::int64_t IntegerNode::Min() const
{
    return reported_ ? WholeNumber(reported_->min) : limits_.min;
}

std::int64_t IntegerNode::Max() const
{
    if (reported_) {
        return WholeNumber(reported_->max);
    }
    return limits_.maxNow ? limits_.maxNow() : limits_.max;
}

void IntegerNode::SetValue(std::int64_t value, bool verify)
{
    const AccessScope scope(hook_);
    BeginWrite(
        verify, [&] { return ToText(value); },
        [&] {
            return RangeError(value, IntegerRange{Min(), Max(), Inc()});
        });
    if (injection::JournalIsOn()) {
        injection::JournalWrite(spec_.name, ToText(value));
    }
    Store(value);
    Written();
}

std::int64_t IntegerNode::GetMin()
{
    const AccessScope scope(hook_);
    BeginRead();
    if (injection::JournalIsOn()) {
        injection::JournalRead(spec_.name, ".Min", ToText(Min()));
    }
    return Min();
}

std::int64_t IntegerNode::GetMax()
{
    const AccessScope scope(hook_);
    BeginRead();
    const std::int64_t max = Max();
    if (injection::JournalIsOn()) {
        injection::JournalRead(spec_.name, ".Max", ToText(max));
    }
    return max;
}

std::int64_t IntegerNode::GetInc()
{
    const AccessScope scope(hook_);
    BeginRead();
    if (injection::JournalIsOn()) {
        injection::JournalRead(spec_.name, ".Inc", ToText(Inc()));
    }
    return Inc();
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

std::size_t IntegerNode::OwnPosition() const
{
    // A value that was stored without checks must not select a cell that does not exist.
    return static_cast<std::size_t>(std::clamp(Value(), limits_.min, limits_.max) - limits_.min);
}

FloatNode::FloatNode(AccessHook& hook, NodeSpec spec, Limits limits, double value,
                     std::function<double(double)> shown)
    : Feature(hook, std::move(spec)), limits_(std::move(limits)), shown_(std::move(shown)),
      cells_(CellCount(), value)
{
    if (spec_.caching == Caching::WriteThrough) { // a limit may take the place of what is written
        spec_.caching = Caching::WriteAround;
    }
}

double FloatNode::Max() const
{
    if (reported_) {
        return reported_->max;
    }
    return limits_.maxNow ? limits_.maxNow() : limits_.max;
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
    if (injection::JournalIsOn()) {
        injection::JournalRead(spec_.name, "", ToText(value));
    }
    return value;
}

void FloatNode::SetValue(double value, bool verify)
{
    const AccessScope scope(hook_);
    BeginWrite(
        verify, [&] { return ToText(value); },
        [&] {
            const FloatRange range{Min(), Max()};
            value = verify ? SnappedToLimit(value, range) : value;
            return RangeError(value, range);
        });
    if (injection::JournalIsOn()) {
        injection::JournalWrite(spec_.name, ToText(value));
    }
    cells_[CellIndex()] = value;
    Written();
}

double FloatNode::GetMin()
{
    const AccessScope scope(hook_);
    BeginRead();
    if (injection::JournalIsOn()) {
        injection::JournalRead(spec_.name, ".Min", ToText(Min()));
    }
    return Min();
}

double FloatNode::GetMax()
{
    const AccessScope scope(hook_);
    BeginRead();
    const double max = Max();
    if (injection::JournalIsOn()) {
        injection::JournalRead(spec_.name, ".Max", ToText(max));
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
    if (injection::JournalIsOn()) {
        injection::JournalRead(spec_.name, "", ToText(value));
    }
    return value;
}

void BooleanNode::SetValue(bool value, bool verify)
{
    const AccessScope scope(hook_);
    BeginWrite(
        verify, [&] { return ToText(value); }, [] { return Violation(); });
    if (injection::JournalIsOn()) {
        injection::JournalWrite(spec_.name, ToText(value));
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
