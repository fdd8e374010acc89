#include "net/nodes/nodes.h"

#include "genapi/value_text.h"

#include <cmath>
#include <limits>
#include <utility>

namespace net
{

using genapi::ToText;

namespace
{

/** A limit in place of a value that is beyond it by no more than rounding. */
double Settled(double value, double min, double max)
{
    constexpr double kRounding = 1e-6; // of the limit
    if (value > max && value - max < kRounding * std::abs(max)) {
        return max;
    }
    if (value < min && min - value < kRounding * std::abs(min)) {
        return min;
    }
    return value;
}

std::string Misfit(double value, double min, double max)
{
    if (value >= min && value <= max) { // false for a NaN, as it must be
        return {};
    }
    return "outside minimum " + ToText(min) + ", maximum " + ToText(max);
}

} // namespace

FloatNode::FloatNode(Device& device, ArvGcFeatureNode* node, Facts facts)
    : Feature(device, node, std::move(facts))
{
    const char* const unit = Says().fault.empty() ? arv_gc_float_get_unit(Handle()) : nullptr;
    unit_ = unit == nullptr ? "" : unit;
}

GenApi_3_0::EAccessMode FloatNode::GetAccessMode() const
{
    const AccessScope scope(device_);
    return Mode();
}

double FloatNode::GetValue(bool, bool ignoreCache)
{
    const AccessScope scope(device_);
    if (frameValue_ && !ignoreCache) {
        device_.RequirePresent(GetName());
        return *frameValue_;
    }
    BeginRead();
    return Ask([&](GError** error) { return arv_gc_float_get_value(Handle(), error); });
}

void FloatNode::SetValue(double value, bool verify)
{
    const AccessScope scope(device_);
    const auto text = [&] { return ToText(value); };
    CheckWrite<GenICam_3_0::OutOfRangeException>(verify, text, [&] {
        const double min = Min();
        const double max = Max();
        if (verify) {
            value = Settled(value, min, max);
        }
        return Misfit(value, min, max);
    });
    ForgetFrameValue();
    Checked([&](GError** error) { arv_gc_float_set_value(Handle(), value, error); },
            [&] { return Name() + " = " + text() + " can't be written"; });
}

double FloatNode::Min() const
{
    return Limit(-std::numeric_limits<double>::max(),
                 [&](GError** error) { return arv_gc_float_get_min(Handle(), error); });
}

double FloatNode::Max() const
{
    return Limit(std::numeric_limits<double>::max(),
                 [&](GError** error) { return arv_gc_float_get_max(Handle(), error); });
}

double FloatNode::GetMin()
{
    const AccessScope scope(device_);
    BeginRead();
    return Min();
}

double FloatNode::GetMax()
{
    const AccessScope scope(device_);
    BeginRead();
    return Max();
}

} // namespace net
