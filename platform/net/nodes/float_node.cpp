#include "net/nodes/nodes.h"

#include "genapi/value_text.h"

#include <limits>
#include <utility>

namespace net
{

using genapi::ToText;

FloatNode::FloatNode(Device& device, ArvGcFeatureNode* node, Facts facts)
    : Feature(device, node, std::move(facts))
{
    const char* const unit = GetFacts().fault.empty() ? arv_gc_float_get_unit(Handle()) : nullptr;
    unit_ = unit == nullptr ? "" : unit;
}

double FloatNode::GetValue(bool, bool ignoreCache)
{
    const AccessScope scope(device_);
    if (frameValue_ && !ignoreCache) {
        device_.RequirePresent(GetName());
        InjectFaults(injection::AccessKind::Read);
        return Journalled("", *frameValue_);
    }
    BeginRead();
    return Journalled("",
                      Ask([&](GError** error) { return arv_gc_float_get_value(Handle(), error); }));
}

void FloatNode::SetValue(double value, bool verify)
{
    const AccessScope scope(device_);
    const auto text = [&] { return ToText(value); };
    BeginWrite(verify, text, [&] {
        const genapi::FloatRange range{Min(), Max()};
        value = verify ? genapi::SnappedToLimit(value, range) : value;
        return genapi::RangeError(value, range);
    });
    ForgetFrameValue();
    Checked([&](GError** error) { arv_gc_float_set_value(Handle(), value, error); },
            [&] { return fmt::format("{} = {} can't be written", Name(), text()); });
    JournalWrite(text);
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
    return Journalled(".Min", Min());
}

double FloatNode::GetMax()
{
    const AccessScope scope(device_);
    BeginRead();
    return Journalled(".Max", Max());
}

} // namespace net
