/** Nodes without a number: strings and commands. */
#include "net/nodes/nodes.h"

#include "genapi/value_text.h"

#include <string>
#include <string_view>
#include <utility>

namespace net
{

using GenApi_3_0::gcstring;

StringNode::StringNode(Device& device, ArvGcFeatureNode* node, Facts facts)
    : Feature(device, node, std::move(facts)),
      value_(MakeCell(ValueCache::What::Value, [this]() -> KnownValue {
          // The library keeps the text only until the next access.
          const char* const text =
              Ask([&](GError** error) { return arv_gc_string_get_value(Handle(), error); });
          return std::string(text == nullptr ? "" : text);
      }))
{
}

gcstring StringNode::GetValue(bool, bool ignoreCache)
{
    const AccessScope scope(device_, IsKnown(value_, ignoreCache));
    BeginRead(ignoreCache);
    const gcstring value(std::string_view(Get<std::string>(value_, ignoreCache)));
    JournalRead("", [&] { return value.view(); });
    return value;
}

void StringNode::SetValue(const gcstring& value, bool verify)
{
    const AccessScope scope(device_);
    const auto text = [&] { return value.view(); };
    BeginWrite(verify, text, [&] { return genapi::TextError(value.view(), MaxLength()); });
    const ValueCache::Write write(device_.Values(), node_);
    Checked([&](GError** error) { arv_gc_string_set_value(Handle(), value.c_str(), error); },
            [&] { return fmt::format("{} = {} can't be written", Name(), value.view()); });
    JournalWrite(text);
}

std::int64_t StringNode::MaxLength() const
{
    return Ask([&](GError** error) {
        return std::int64_t{arv_gc_string_get_max_length(Handle(), error)};
    });
}

std::int64_t StringNode::GetMaxLength()
{
    const AccessScope scope(device_);
    BeginRead();
    return Journalled(".MaxLength", MaxLength());
}

CommandNode::CommandNode(Device& device, ArvGcFeatureNode* node, Facts facts)
    : Feature(device, node, std::move(facts))
{
    if (!GetFacts().fault.empty()) {
        return;
    }
    ForEachChild(node, [&](ArvDomNode* child) {
        if (!ARV_IS_GC_PROPERTY_NODE(child)) {
            return;
        }
        ArvGcPropertyNode* const property = ARV_GC_PROPERTY_NODE(child);
        switch (arv_gc_property_node_get_node_type(property)) {
        case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE: {
            ArvGcNode* const store = arv_gc_property_node_get_linked_node(property);
            const bool readable = ARV_IS_GC_INTEGER(store) &&
                                  arv_gc_feature_node_get_actual_access_mode(
                                      ARV_GC_FEATURE_NODE(store)) != ARV_GC_ACCESS_MODE_WO;
            store_ = readable ? ARV_GC_INTEGER(store) : nullptr;
            break;
        }
        case ARV_GC_PROPERTY_NODE_TYPE_COMMAND_VALUE:
        case ARV_GC_PROPERTY_NODE_TYPE_P_COMMAND_VALUE:
            starting_ = property;
            break;
        default:
            break;
        }
    });
}

void CommandNode::Execute(bool verify)
{
    const AccessScope scope(device_);
    BeginWrite(
        verify, [] { return genapi::kExecute; }, [] { return genapi::Violation(); });
    const ValueCache::Write write(device_.Values(), node_);
    Checked([&](GError** error) { arv_gc_command_execute(ARV_GC_COMMAND(node_), error); },
            [&] { return fmt::format("{} can't be executed", Name()); });
    JournalWrite([] { return genapi::kExecute; });
}

bool CommandNode::IsDone(bool)
{
    const AccessScope scope(device_);
    RequireUsable();
    InjectFaults(injection::AccessKind::Read);
    const bool done =
        store_ == nullptr || Ask([&](GError** error) {
            const std::int64_t now = arv_gc_integer_get_value(store_, error);
            return *error == nullptr && now != arv_gc_property_node_get_int64(starting_, error);
        });
    return Journalled(".Done", done);
}

} // namespace net
