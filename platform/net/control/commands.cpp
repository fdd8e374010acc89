#include "net/control/commands.h"

#include "net/nodes/feature.h"

namespace net
{

namespace
{

class Command final : public Feature
{
public:
    using Feature::Feature;

    void Execute() const
    {
        CheckWrite<GenICam_3_0::AccessException>(
            true, [] { return "execute"; }, [] { return std::string(); });
        Checked([&](GError** error) { arv_gc_command_execute(ARV_GC_COMMAND(node_), error); },
                [&] { return Name() + " can't be executed"; });
    }
};

} // namespace

void ExecuteCommand(Device& device, const char* name)
{
    const AccessScope scope(device);
    ArvGc* const features = arv_device_get_genicam(device.Handle());
    ArvGcNode* const node = features == nullptr ? nullptr : arv_gc_get_node(features, name);
    if (!ARV_IS_GC_COMMAND(node)) {
        throw GenICam_3_0::LogicalErrorException(std::string(name) + ": no such command");
    }
    ArvGcFeatureNode* const feature = ARV_GC_FEATURE_NODE(node);
    Command(device, feature, Description().Examine(feature)).Execute();
}

} // namespace net
