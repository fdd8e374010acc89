#include "net/nodes/nodes.h"

#include "genapi/value_text.h"

namespace net
{

bool BooleanNode::GetValue(bool, bool)
{
    const AccessScope scope(device_);
    BeginRead();
    const bool value =
        Ask([&](GError** error) { return arv_gc_boolean_get_value(Handle(), error); }) != 0;
    JournalRead("", [&] { return genapi::ToText(value); });
    return value;
}

void BooleanNode::SetValue(bool value, bool verify)
{
    const AccessScope scope(device_);
    const auto text = [&] { return genapi::ToText(value); };
    BeginWrite(verify, text, [] { return genapi::Violation(); });
    Checked([&](GError** error) { arv_gc_boolean_set_value(Handle(), value ? 1 : 0, error); },
            [&] { return fmt::format("{} = {} can't be written", Name(), text()); });
    JournalWrite(text);
}

} // namespace net
