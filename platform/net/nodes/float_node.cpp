#include "net/nodes/nodes.h"

#include "genapi/value_text.h"

#include <limits>
#include <utility>

namespace net
{

using genapi::ToText;

FloatNode::FloatNode(Device& device, ArvGcFeatureNode* node, Facts facts)
    : Feature(device, node, std::move(facts)),
      value_(MakeCell(ValueCache::What::Value,
                      [this]() -> KnownValue {
                          return Ask([&](GError** error) {
                              return arv_gc_float_get_value(Handle(), error);
                          });
                      })),
      min_(MakeCell(ValueCache::What::Limit,
                    [this]() -> KnownValue {
                        return Limit(-std::numeric_limits<double>::max(), [&](GError** error) {
                            return arv_gc_float_get_min(Handle(), error);
                        });
                    })),
      max_(MakeCell(ValueCache::What::Limit, [this]() -> KnownValue {
          return Limit(std::numeric_limits<double>::max(),
                       [&](GError** error) { return arv_gc_float_get_max(Handle(), error); });
      }))
{
    const char* const unit = GetFacts().fault.empty() ? arv_gc_float_get_unit(Handle()) : nullptr;
    unit_ = unit == nullptr ? "" : unit;
}

void FloatNode::SetFrameValue(double value)
{
    const std::lock_guard lock(frameMutex_);
    frameValue_ = value;
}

void FloatNode::ForgetFrameValue()
{
    const std::lock_guard lock(frameMutex_);
    frameValue_.reset();
}

std::optional<double> FloatNode::FrameValue() const
{
    const std::lock_guard lock(frameMutex_);
    return frameValue_;
}

double FloatNode::GetValue(bool, bool ignoreCache)
{
    const std::optional<double> ofFrame = ignoreCache ? std::nullopt : FrameValue();
    const AccessScope scope(device_, ofFrame || IsKnown(value_, ignoreCache));
    if (ofFrame) {
        device_.RequirePresent(GetName());
        InjectFaults(injection::AccessKind::Read);
        return Journalled("", *ofFrame);
    }
    BeginRead(ignoreCache);
    return Journalled("", Get<double>(value_, ignoreCache));
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
    const ValueCache::Write write(device_.Values(), node_);
    Checked([&](GError** error) { arv_gc_float_set_value(Handle(), value, error); },
            [&] { return fmt::format("{} = {} can't be written", Name(), text()); });
    JournalWrite(text);
}

double FloatNode::GetMin()
{
    const AccessScope scope(device_, IsKnown(min_));
    BeginRead();
    return Journalled(".Min", Min());
}

double FloatNode::GetMax()
{
    const AccessScope scope(device_, IsKnown(max_));
    BeginRead();
    return Journalled(".Max", Max());
}

} // namespace net
