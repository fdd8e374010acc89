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
    const auto spec = [&](const char* name, const char* unit = "") {
        return genapi::NodeSpec{.name = name,
                                .unit = unit,
                                .selectedBy = {selector},
                                .written = [&trigger] { trigger.Changed(); }};
    };
    trigger.mode = AddEnumeration(spec("TriggerMode"), Names({"Off", "On"}));
    // The number of a line is its value.
    trigger.source = AddEnumeration(spec("TriggerSource"), Names({"Software", "Line1", "Line2"}));
    trigger.activation =
        AddEnumeration(spec("TriggerActivation"), Names({"RisingEdge", "FallingEdge", "AnyEdge"}));
    trigger.delay = AddFloat(spec("TriggerDelay", "us"), {.max = kLongestDelayUs}, 0);
    AddCommand({.name = "TriggerSoftware",
                .mode = GenApi_3_0::WO,
                .modeNow =
                    [&trigger] {
                        return trigger.IsOn() && trigger.source->Symbolic() == "Software"
                                   ? GenApi_3_0::WO
                                   : GenApi_3_0::NA;
                    },
                .selectedBy = {selector},
                .written = [&trigger] { trigger.Fired(); }});
}

void FeatureBuilder::UserSetControl()
{
    Enumeration* selector =
        AddEnumeration({.name = kUserSetSelector}, Names({"Default", "UserSet1", "UserSet2"}));
    UserSets& sets = features_.userSets_;
    features_.userSetCount_ = selector->Positions();
    AddCommand({.name = "UserSetLoad",
                .mode = GenApi_3_0::WO,
                .modeNow =
                    [streaming = state_.streaming] {
                        return streaming() ? GenApi_3_0::NA : GenApi_3_0::WO;
                    },
                .selectedBy = {selector},
                .written = [&sets, selector] { sets.Load(selector->Position()); }});
    AddCommand(
        {.name = "UserSetSave",
         .mode = GenApi_3_0::WO,
         .modeNow =
             [selector] { return selector->Position() == 0 ? GenApi_3_0::NA : GenApi_3_0::WO; },
         .selectedBy = {selector},
         .written = [&sets, selector] { sets.Save(selector->Position()); }});
}

} // namespace sim
