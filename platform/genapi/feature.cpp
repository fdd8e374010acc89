/** What all types of nodes in memory have in common. */
#include "genapi/access_rules.h"
#include "genapi/nodes.h"

#include <algorithm>
#include <utility>

namespace genapi
{

Feature::Feature(AccessHook& hook, NodeSpec spec) : hook_(hook), spec_(std::move(spec)) {}
Feature::~Feature() = default;

EAccessMode Feature::Mode() const
{
    if (!GenApi_3_0::IsWritable(spec_.mode)) {
        return spec_.mode;
    }
    if (spec_.available && !spec_.available()) {
        return GenApi_3_0::NA;
    }
    return spec_.locked && spec_.locked() ? GenApi_3_0::RO : spec_.mode;
}

void Feature::ShowSelectors(const std::function<bool(Feature&)>& shows)
{
    const auto add = [this](GenApi_3_0::INode* node) {
        if (std::find(selectors_.begin(), selectors_.end(), node) == selectors_.end()) {
            selectors_.push_back(node);
        }
    };
    selectors_.clear();
    for (Selector* selector : spec_.selectedBy) {
        Feature& feature = selector->AsFeature();
        feature.ShowSelectors(shows);
        std::for_each(feature.selectors_.begin(), feature.selectors_.end(), add);
        if (shows(feature)) {
            add(feature.Node());
        }
    }
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
