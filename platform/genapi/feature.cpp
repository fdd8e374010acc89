#include "genapi/nodes.h"

#include <utility>

namespace genapi
{

namespace
{

const char* ModeName(EAccessMode mode)
{
    switch (mode) {
    case GenApi_3_0::NI:
        return "NI";
    case GenApi_3_0::NA:
        return "NA";
    case GenApi_3_0::WO:
        return "WO";
    case GenApi_3_0::RO:
        return "RO";
    case GenApi_3_0::RW:
        return "RW";
    }
    return "?";
}

} // namespace

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
    if (hook_.Recording()) {
        hook_.Record("mode", spec_.name + ":" + ModeName(mode));
    }
    return mode;
}

void Feature::BeginRead()
{
    hook_.Enter();
    const EAccessMode mode = Mode();
    if (!GenApi_3_0::IsReadable(mode)) {
        RefuseMode(mode, "readable");
    }
    hook_.Strike(AccessKind::Read, spec_.name.c_str());
}

void Feature::EndRead(const char* range, const std::string& value)
{
    hook_.Record("read", spec_.name + range + "=" + value);
}

void Feature::Written()
{
    if (spec_.written) {
        spec_.written();
    }
}

void Feature::RefuseMode(EAccessMode mode, const char* access) const
{
    throw GenICam_3_0::AccessException(spec_.name + ": not " + access + " now (access mode " +
                                       ModeName(mode) + ")");
}

} // namespace genapi
