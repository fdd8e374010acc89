/** Builds the features for triggers and user sets. */
#include "sim/camera/feature_builder.h"

namespace sim
{

/** TriggerSoftware is there only while it would start a frame. */
void FeatureBuilder::Trigger()
{
    constexpr double kLongestDelayUs = 2'000'000;
    TriggerFeatures& trigger = features_.trigger;
    Enumeration* selector = AddEnumeration({.name = "TriggerSelector"}, Names({"FrameStart"}));
    const auto spec = [&](const char* name, std::vector<std::string> changes,
                          const char* unit = "") {
        return genapi::NodeSpec{.name = name,
                                .unit = unit,
                                .selectedBy = {selector},
                                .changes = std::move(changes),
                                .written = [&trigger] { trigger.Changed(); }};
    };
    trigger.mode = AddEnumeration(spec("TriggerMode", {"TriggerSoftware"}), Names({"Off", "On"}));
    // The number of a line is its value.
    trigger.source = AddEnumeration(spec("TriggerSource", {"TriggerSoftware"}),
                                    Names({"Software", "Line1", "Line2"}));
    trigger.activation = AddEnumeration(spec("TriggerActivation", {}),
                                        Names({"RisingEdge", "FallingEdge", "AnyEdge"}));
    trigger.delay = AddFloat(spec("TriggerDelay", {}, "us"), {.max = kLongestDelayUs}, 0);
    AddCommand(
        {.name = "TriggerSoftware",
         .mode = GenApi_3_0::WO,
         .available =
             [&trigger] { return trigger.IsOn() && trigger.source->Symbolic() == "Software"; },
         .selectedBy = {selector},
         .written = [&trigger] { trigger.Fired(); }});
}

void FeatureBuilder::UserSetControl()
{
    Enumeration* selector = AddEnumeration({.name = kUserSetSelector, .changes = {"UserSetSave"}},
                                           Names({"Default", "UserSet1", "UserSet2"}));
    UserSets& sets = features_.userSets_;
    features_.userSetCount_ = selector->Positions();
    AddCommand({.name = "UserSetLoad",
                .mode = GenApi_3_0::WO,
                .available = [streaming = state_.streaming] { return !streaming(); },
                .selectedBy = {selector},
                .changes = {genapi::kEveryFeature},
                .written = [&sets, selector] { sets.Load(selector->Position()); }});
    AddCommand({.name = "UserSetSave",
                .mode = GenApi_3_0::WO,
                .available = [selector] { return selector->Position() != 0; },
                .selectedBy = {selector},
                .written = [&sets, selector] { sets.Save(selector->Position()); }});
}

} // namespace sim
