#include "net/nodes/feature.h"

#include <utility>

namespace net
{

namespace
{

using GenApi_3_0::EAccessMode;

bool Is(const Gate& gate, GError** error)
{
    switch (gate.kind) {
    case Gate::Kind::Implemented:
        return arv_gc_feature_node_is_implemented(gate.node, error) != 0;
    case Gate::Kind::Available:
        return arv_gc_feature_node_is_available(gate.node, error) != 0;
    case Gate::Kind::Locked:
        return arv_gc_feature_node_is_locked(gate.node, error) != 0;
    }
    return false;
}

} // namespace

EAccessMode ModeBehind(const std::vector<Gate>& gates, EAccessMode open, bool onlyReads,
                       const std::string& name)
{
    EAccessMode mode = open;
    for (const Gate& gate : gates) {
        const bool lock = gate.kind == Gate::Kind::Locked;
        if (lock && (onlyReads || !GenApi_3_0::IsWritable(mode))) {
            continue;
        }
        const bool is = Checked([&](GError** error) { return Is(gate, error); },
                                [&] { return fmt::format("{}: access mode can't be read", name); });
        if (lock && is) {
            mode = mode == GenApi_3_0::RW ? GenApi_3_0::RO : GenApi_3_0::NA;
        }
        if (!lock && !is) {
            return gate.kind == Gate::Kind::Implemented ? GenApi_3_0::NI : GenApi_3_0::NA;
        }
    }
    return mode;
}

Feature::Feature(Device& device, ArvGcFeatureNode* node, Facts facts)
    : device_(device), node_(node), name_(arv_gc_feature_node_get_name(node)),
      facts_(std::move(facts)), lastMode_(facts_.mode)
{
}

EAccessMode Feature::Mode() const
{
    if (!facts_.gates.empty() && facts_.fault.empty() && device_.IsAnswering()) {
        lastMode_ = ModeBehind(facts_.gates, facts_.mode, false, name_);
    }
    return lastMode_;
}

void Feature::RequireSound(const std::string& fault) const
{
    if (!fault.empty()) {
        throw GenICam_3_0::PropertyException(
            fmt::format("{}: faulty description, {}", name_, fault));
    }
}

void Feature::RequireUsable() const
{
    device_.RequirePresent(name_.c_str());
    RequireSound(facts_.fault);
}

EAccessMode Feature::AskMode() const
{
    const AccessScope scope(device_);
    const EAccessMode mode = Mode();
    if (injection::JournalIsOn()) {
        injection::JournalMode(name_, genapi::ModeName(mode));
    }
    return mode;
}

void Feature::BeginRead() const
{
    RequireUsable();
    genapi::RequireReadable(name_, ModeBehind(facts_.gates, facts_.mode, true, name_));
    InjectFaults(injection::AccessKind::Read);
}

} // namespace net
