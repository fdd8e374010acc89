#include "net/nodes/feature.h"

#include <optional>
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

KnownValue KnownOrRead(const Device& device, ValueCache::Cell& cell, bool ignoreCache)
{
    if (!ignoreCache) {
        if (std::optional<KnownValue> known = device.Values().Find(cell)) {
            return std::move(*known);
        }
    }
    const AccessScope scope(device);
    if (!ignoreCache) { // somebody may have read it meanwhile
        if (std::optional<KnownValue> known = device.Values().Find(cell)) {
            return std::move(*known);
        }
    }
    return device.Values().Read(cell, ignoreCache);
}

Feature::Feature(Device& device, ArvGcFeatureNode* node, Facts facts, bool kept)
    : device_(device), node_(node), name_(arv_gc_feature_node_get_name(node)),
      facts_(std::move(facts)), lastMode_(facts_.mode)
{
    if (!kept || facts_.gates.empty() || !facts_.fault.empty()) {
        return;
    }
    const auto cell = [this](ValueCache::What what, bool onlyReads) {
        return &MakeCell(
            what,
            [this, onlyReads]() -> KnownValue {
                return std::int64_t{ModeBehind(facts_.gates, facts_.mode, onlyReads, name_)};
            },
            facts_.gates);
    };
    mode_ = cell(ValueCache::What::Mode, false);
    readMode_ = cell(ValueCache::What::ReadMode, true);
}

EAccessMode Feature::Mode() const
{
    if (!facts_.gates.empty() && facts_.fault.empty() && device_.IsAnswering()) {
        lastMode_ = mode_ == nullptr ? ModeBehind(facts_.gates, facts_.mode, false, name_)
                                     : static_cast<EAccessMode>(Get<std::int64_t>(*mode_));
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
    const AccessScope scope(device_, IsModeKnown());
    const EAccessMode mode = Mode();
    if (injection::JournalIsOn()) {
        injection::JournalMode(name_, genapi::ModeName(mode));
    }
    return mode;
}

void Feature::BeginRead(bool ignoreCache) const
{
    RequireUsable();
    genapi::RequireReadable(
        name_, readMode_ == nullptr
                   ? facts_.mode
                   : static_cast<EAccessMode>(Get<std::int64_t>(*readMode_, ignoreCache)));
    InjectFaults(injection::AccessKind::Read);
}

} // namespace net
