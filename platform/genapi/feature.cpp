/** What all types of nodes in memory have in common. */
#include "genapi/access_rules.h"
#include "genapi/nodes.h"

#include <utility>

namespace genapi
{

Feature::Feature(AccessHook& hook, NodeSpec spec) : hook_(hook), spec_(std::move(spec)) {}
Feature::~Feature() = default;

EAccessMode Feature::Mode() const
{
    return spec_.mode == GenApi_3_0::RW && spec_.modeNow ? spec_.modeNow() : spec_.mode;
}

std::size_t Feature::CellCount() const
{
    std::size_t count = 1;
    for (const Selector* selector : spec_.selectedBy) {
        count *= selector->Positions();
    }
    return count;
}

std::size_t Feature::CellIndex() const
{
    std::size_t index = 0;
    for (const Selector* selector : spec_.selectedBy) {
        index = index * selector->Positions() + selector->Position();
    }
    return index;
}

EAccessMode Feature::AskMode() const
{
    const AccessScope scope(hook_);
    const EAccessMode mode = Mode();
    if (injection::JournalIsOn()) {
        injection::JournalMode(spec_.name, ModeName(mode));
    }
    return mode;
}

void Feature::BeginRead()
{
    hook_.Enter();
    RequireReadable(spec_.name, Mode());
    hook_.InjectFaults(injection::AccessKind::Read, spec_.name.c_str());
}

void Feature::Written()
{
    if (spec_.written) {
        spec_.written();
    }
}

} // namespace genapi
