#include "net/control/commands.h"

#include "net/nodes/feature.h"

#include <utility>

namespace net
{

namespace
{

class Command final : public Feature
{
public:
    Command(Device& device, ArvGcFeatureNode* node, Facts facts)
        : Feature(device, node, std::move(facts), false)
    {
    }

    void Execute() const
    {
        RequireUsable();
        genapi::CheckWrite(
            {Name(), true, genapi::Unverified::StaysHere}, Mode(), [] { return "execute"; },
            [] { return genapi::Violation(); }, [] {});
        const ValueCache::Write write(device_.Values(), node_);
        Checked([&](GError** error) { arv_gc_command_execute(ARV_GC_COMMAND(node_), error); },
                [&] { return fmt::format("{} can't be executed", Name()); });
    }
};

} // namespace

void ExecuteCommand(Device& device, const char* name)
{
    const AccessScope scope(device);
    ArvGc* const features = arv_device_get_genicam(device.Handle());
    ArvGcNode* const node = features == nullptr ? nullptr : arv_gc_get_node(features, name);
    if (!ARV_IS_GC_COMMAND(node)) {
        throw GenICam_3_0::LogicalErrorException(fmt::format("{}: no such command", name));
    }
    ArvGcFeatureNode* const feature = ARV_GC_FEATURE_NODE(node);
    Command(device, feature, Description().Examine(feature)).Execute();
}

} // namespace net
