/** Nodes in memory without a number: strings and commands. */
#include "genapi/nodes.h"
#include "genapi/value_text.h"

#include <utility>

namespace genapi
{

StringNode::StringNode(AccessHook& hook, NodeSpec spec, std::int64_t maxLength,
                       const std::string& value)
    : Feature(hook, std::move(spec)), maxLength_(maxLength), cells_(CellCount(), value)
{
}

gcstring StringNode::GetValue(bool, bool)
{
    const AccessScope scope(hook_);
    BeginRead();
    const std::string& value = cells_[CellIndex()];
    if (injection::JournalIsOn()) {
        injection::JournalRead(spec_.name, "", value);
    }
    return {std::string_view(value)};
}

void StringNode::SetValue(const gcstring& value, bool verify)
{
    const AccessScope scope(hook_);
    BeginWrite(
        verify, [&] { return value.view(); }, [&] { return TextError(value.view(), maxLength_); });
    if (injection::JournalIsOn()) {
        injection::JournalWrite(spec_.name, value.view());
    }
    cells_[CellIndex()] = value.view();
    Written();
}

std::int64_t StringNode::GetMaxLength()
{
    const AccessScope scope(hook_);
    BeginRead();
    if (injection::JournalIsOn()) {
        injection::JournalRead(spec_.name, ".MaxLength", ToText(maxLength_));
    }
    return maxLength_;
}

bool StringNode::SetText(std::string_view text)
{
    if (TextError(text, maxLength_)) {
        return false;
    }
    cells_[CellIndex()] = text;
    Written();
    return true;
}

void CommandNode::Execute(bool verify)
{
    const AccessScope scope(hook_);
    BeginWrite(
        verify, [] { return kExecute; }, [] { return Violation(); });
    if (injection::JournalIsOn()) {
        injection::JournalWrite(spec_.name, kExecute);
    }
    Written();
}

bool CommandNode::IsDone(bool)
{
    const AccessScope scope(hook_);
    hook_.Enter();
    hook_.InjectFaults(injection::AccessKind::Read, spec_.name.c_str());
    if (injection::JournalIsOn()) {
        injection::JournalRead(spec_.name, ".Done", ToText(true));
    }
    return true;
}

} // namespace genapi
