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
    : Feature(device, node, std::move(facts)),
      value_(MakeCell(ValueCache::What::Value,
                      [this]() -> KnownValue {
                          return Ask([&](GError** error) {
                              return std::int64_t{arv_gc_integer_get_value(Handle(), error)};
                          });
                      })),
      min_(MakeCell(ValueCache::What::Limit,
                    [this]() -> KnownValue {
                        return Limit(std::numeric_limits<std::int64_t>::min(), [&](GError** error) {
                            return std::int64_t{arv_gc_integer_get_min(Handle(), error)};
                        });
                    })),
      max_(MakeCell(ValueCache::What::Limit,
                    [this]() -> KnownValue {
                        return Limit(std::numeric_limits<std::int64_t>::max(), [&](GError** error) {
                            return std::int64_t{arv_gc_integer_get_max(Handle(), error)};
                        });
                    })),
      inc_(MakeCell(ValueCache::What::Limit, [this]() -> KnownValue {
          return Limit(std::int64_t{1}, [&](GError** error) {
              return std::int64_t{arv_gc_integer_get_inc(Handle(), error)};
          });
      }))
{
    const char* const unit = GetFacts().fault.empty() ? arv_gc_integer_get_unit(Handle()) : nullptr;
    unit_ = unit == nullptr ? "" : unit;
}

std::int64_t IntegerNode::GetValue(bool, bool ignoreCache)
{
    const AccessScope scope(device_, IsKnown(value_, ignoreCache));
    BeginRead(ignoreCache);
    return Journalled("", Get<std::int64_t>(value_, ignoreCache));
}

void IntegerNode::SetValue(std::int64_t value, bool verify)
{
    const AccessScope scope(device_);
    const auto text = [&] { return ToText(value); };
    BeginWrite(verify, text, [&] {
        return genapi::RangeError(value, genapi::IntegerRange{Min(), Max(), Inc()});
    });
    if (!selected_.Selects() || !device_.Values().Has(value_, value)) {
        Write(value);
    }
    JournalWrite(text);
}

void IntegerNode::Force(std::int64_t value)
{
    if (!GetFacts().fault.empty()) {
        return;
    }
    if (GetFacts().onCamera) {
        device_.RequirePresent(GetName());
    }
    Write(value);
}

void IntegerNode::Write(std::int64_t value)
{
    selected_.Writing(value);
    ValueCache::Write write(device_.Values(), node_);
    Checked([&](GError** error) { arv_gc_integer_set_value(Handle(), value, error); },
            [&] { return fmt::format("{} = {} can't be written", Name(), value); });
    write.Took(value_, value);
    selected_.Written(value);
}

std::int64_t IntegerNode::GetMin()
{
    const AccessScope scope(device_, IsKnown(min_));
    BeginRead();
    return Journalled(".Min", Min());
}

std::int64_t IntegerNode::GetMax()
{
    const AccessScope scope(device_, IsKnown(max_));
    BeginRead();
    return Journalled(".Max", Max());
}

std::int64_t IntegerNode::GetInc()
{
    const AccessScope scope(device_, IsKnown(inc_));
    BeginRead();
    return Journalled(".Inc", Inc());
}

} // namespace net
