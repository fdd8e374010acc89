#include "net/nodes/nodes.h"

#include "genapi/value_text.h"

#include <limits>
#include <utility>

namespace net
{

using genapi::ToText;

void Selected::Writing(std::int64_t value)
{
    if (last_ != value) {
        for (FloatNode* feature : features_) {
            feature->ForgetFrameValue();
        }
    }
    last_.reset();
}

IntegerNode::IntegerNode(Device& device, ArvGcFeatureNode* node, Facts facts)
    : Feature(device, node, std::move(facts))
{
    const char* const unit = Says().fault.empty() ? arv_gc_integer_get_unit(Handle()) : nullptr;
    unit_ = unit == nullptr ? "" : unit;
}

GenApi_3_0::EAccessMode IntegerNode::GetAccessMode() const
{
    const AccessScope scope(device_);
    return Mode();
}

std::int64_t IntegerNode::GetValue(bool, bool)
{
    const AccessScope scope(device_);
    BeginRead();
    return Ask([&](GError** error) { return arv_gc_integer_get_value(Handle(), error); });
}

std::string IntegerNode::Misfit(std::int64_t value) const
{
    const std::int64_t min = Min();
    const std::int64_t max = Max();
    const std::int64_t inc = Inc();
    // Unsigned, since the distance of extreme values does not fit a signed number.
    const auto distance = static_cast<std::uint64_t>(value) - static_cast<std::uint64_t>(min);
    if (value >= min && value <= max &&
        (inc <= 0 || distance % static_cast<std::uint64_t>(inc) == 0)) {
        return {};
    }
    return "outside minimum " + ToText(min) + ", maximum " + ToText(max) + " or increment " +
           ToText(inc);
}

void IntegerNode::SetValue(std::int64_t value, bool verify)
{
    const AccessScope scope(device_);
    CheckWrite<GenICam_3_0::OutOfRangeException>(
        verify, [&] { return ToText(value); }, [&] { return Misfit(value); });
    Write(value);
}

void IntegerNode::Force(std::int64_t value)
{
    if (!Says().fault.empty()) {
        return;
    }
    if (Says().onCamera) {
        device_.RequirePresent(GetName());
    }
    Write(value);
}

void IntegerNode::Write(std::int64_t value)
{
    selected_.Writing(value);
    Checked([&](GError** error) { arv_gc_integer_set_value(Handle(), value, error); },
            [&] { return Name() + " = " + ToText(value) + " can't be written"; });
    selected_.Written(value);
}

std::int64_t IntegerNode::Min() const
{
    return Limit(std::numeric_limits<std::int64_t>::min(), [&](GError** error) {
        return std::int64_t{arv_gc_integer_get_min(Handle(), error)};
    });
}

std::int64_t IntegerNode::Max() const
{
    return Limit(std::numeric_limits<std::int64_t>::max(), [&](GError** error) {
        return std::int64_t{arv_gc_integer_get_max(Handle(), error)};
    });
}

std::int64_t IntegerNode::Inc() const
{
    return Limit(std::int64_t{1}, [&](GError** error) {
        return std::int64_t{arv_gc_integer_get_inc(Handle(), error)};
    });
}

std::int64_t IntegerNode::GetMin()
{
    const AccessScope scope(device_);
    BeginRead();
    return Min();
}

std::int64_t IntegerNode::GetMax()
{
    const AccessScope scope(device_);
    BeginRead();
    return Max();
}

std::int64_t IntegerNode::GetInc()
{
    const AccessScope scope(device_);
    BeginRead();
    return Inc();
}

} // namespace net
