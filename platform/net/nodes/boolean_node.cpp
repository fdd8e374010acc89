#include "net/nodes/nodes.h"

#include "genapi/value_text.h"

#include <utility>

namespace net
{

BooleanNode::BooleanNode(Device& device, ArvGcFeatureNode* node, Facts facts)
    : Feature(device, node, std::move(facts)),
      value_(MakeCell(ValueCache::What::Value, [this]() -> KnownValue {
          return std::int64_t{
              Ask([&](GError** error) { return arv_gc_boolean_get_value(Handle(), error); })};
      }))
{
}

bool BooleanNode::GetValue(bool, bool ignoreCache)
{
    const AccessScope scope(device_, IsKnown(value_, ignoreCache));
    BeginRead(ignoreCache);
    const bool value = Get<std::int64_t>(value_, ignoreCache) != 0;
    JournalRead("", [&] { return genapi::ToText(value); });
    return value;
}

void BooleanNode::SetValue(bool value, bool verify)
{
    const AccessScope scope(device_);
    const auto text = [&] { return genapi::ToText(value); };
    BeginWrite(verify, text, [] { return genapi::Violation(); });
    const ValueCache::Write write(device_.Values(), node_);
    Checked([&](GError** error) { arv_gc_boolean_set_value(Handle(), value ? 1 : 0, error); },
            [&] { return fmt::format("{} = {} can't be written", Name(), text()); });
    JournalWrite(text);
}

} // namespace net
