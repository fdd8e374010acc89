#include "net/nodes/nodes.h"

#include "genapi/value_text.h"

namespace net
{

GenApi_3_0::EAccessMode BooleanNode::GetAccessMode() const
{
    const AccessScope scope(device_);
    return Mode();
}

bool BooleanNode::GetValue(bool, bool)
{
    const AccessScope scope(device_);
    BeginRead();
    return Ask([&](GError** error) { return arv_gc_boolean_get_value(Handle(), error); }) != 0;
}

void BooleanNode::SetValue(bool value, bool verify)
{
    const AccessScope scope(device_);
    const auto text = [&] { return genapi::ToText(value); };
    CheckWrite<GenICam_3_0::OutOfRangeException>(verify, text, [] { return std::string(); });
    Checked([&](GError** error) { arv_gc_boolean_set_value(Handle(), value ? 1 : 0, error); },
            [&] { return Name() + " = " + text() + " can't be written"; });
}

} // namespace net
