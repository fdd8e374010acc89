/** Automatic exposure and gain, operation by operation. */
#include "tests/driver/transcript.h"
#include "tests/driver/words.h"
#include "tests/support/rig.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace KvTd;
using namespace rig;

namespace
{

sim::CameraSetup ReadOnly(const char* feature)
{
    sim::CameraSetup setup = SmallCamera();
    setup.readOnly = {feature};
    return setup;
}

void Know(CExCam& cam, int type, float low, float high)
{
    PropertyEntry& row = cam.propEntries[type];
    std::tie(row.floatMin, row.floatMax) = std::pair(low, high);
    row.floatRangeCached = true;
}

} // namespace

TEST(AutoAccess, BooleansByTheirRow)
{
    Transcript story("auto_booleans", {"log", "cam"});
    Rig rig(Lacking({"ReverseY"}));
    CExCam& cam = rig.Open();
    CALL(story, cam.ExPropertySetEna(static_cast<PropertyType>(23 + 17), true));
    CALL(story, cam.ExPropertySetEna(REVERSE_Y_PROPERTY_TYPE, true));
    CALL(story, cam.ExPropertySetEna(WIDTH_PROPERTY_TYPE, true));
    cam.nodeMap = nullptr;
    CALL(story, cam.ExPropertySetEna(REVERSE_Y_PROPERTY_TYPE, true));
}

TEST(AutoAccess, SequenceAlreadySet)
{
    Transcript story("auto_switch", {"log", "cam"});
    for (const auto& [what, setup] : {std::pair("all there", SmallCamera()),
                                      {"no sequence", Lacking({"autoBrightnessSequence"})},
                                      {"no mode", Lacking({"autoBrightnessMode"})},
                                      {"read-only sequence", ReadOnly("autoBrightnessSequence")},
                                      {"read-only mode", ReadOnly("autoBrightnessMode")}}) {
        Rig rig(setup);
        CExCam& cam = rig.Open();
        story.Line(what);
        CALL(story, cam.ExSetAutoExpoEna(true));
        CALL(story, cam.ExSetAutoExpoEna(true));
        CALL(story, cam.ExSetAutoExpoEna(false));
        cam.nodeMap = nullptr;
        CALL(story, cam.ExSetAutoExpoEna(true));
    }
}

TEST(AutoAccess, TargetIsAShareOf255RoundedHalfUp)
{
    Transcript story("auto_target", {"log2", "cam"});
    Rig rig(Having({{"autoBrightnessMode", "Active"}}));
    CExCam& cam = rig.Open();
    CALL(story, cam.ExSetAutoExpoVal(1.0F));
    CALL(story, cam.ExSetAutoExpoVal(0.5F));
    CALL(story, cam.ExSetAutoExpoVal(-0.0F));
    CALL(story, cam.ExSetAutoExpoVal(1.0001F));
    CALL(story, cam.ExSetAutoExpoVal(-0.0001F));
    Rig without(Lacking({"autoBrightnessTarget"}));
    CALL(story, without.Open().ExSetAutoExpoVal(0.5F));
}

TEST(AutoAccess, GainLimitsMixUnits)
{
    Transcript story("auto_gain_units", {"cam", "log"});
    Rig rig; // whose range of 0 to 18.06 dB are the factors 1 to 8
    CExCam& cam = rig.Open();
    CALL(story, cam.ExPropertySetAutoRangeGain(6, 14)); // 1.995 and 5.01
    CALL(story, cam.ExPropertySetAutoRangeGain(0, 20));
}

TEST(AutoAccess, LimitsAreCheckedStepByStep)
{
    Transcript story("auto_limits", {"log2", "cam"});
    for (const bool gain : {true, false}) {
        const std::string name = gain ? "gainAuto" : "exposureAuto";
        const auto set =
            gain ? &CExCam::ExPropertySetAutoRangeGain : &CExCam::ExPropertySetAutoRangeExpo;
        const int type = gain ? GAIN_AUTO_MIN_PROPERTY_TYPE : EXPOSURE_AUTO_MIN_PROPERTY_TYPE;
        const auto apply = [&](CExCam& cam, float min, float max) {
            story.Call(Words(name, min, max), [&] { return (cam.*set)(min, max); });
        };
        Rig rig;
        Know(rig.Open(), type, 11, 15); // narrower than the camera's
        Know(rig.Cam(), type + 1, 12, 16);
        for (const auto& [min, max] : {std::pair(11.0F, 12.0F),
                                       {15, 16},
                                       {14, 13},
                                       {10.5F, 13},
                                       {15.5F, 16},
                                       {11, 11.5F},
                                       {11, 16.5F}}) {
            apply(rig.Cam(), min, max);
        }
        for (const int of : {0, 1}) {
            const std::string feature = name + (of == 0 ? "Min" : "Max") + "Value";
            Rig lacking(Lacking({feature}));
            CExCam& cam = lacking.Open();
            story.Line("without " + feature);
            apply(cam, 11, 12);
            Know(cam, type + of, 10, 20); // it went missing later
            apply(cam, 11, 12);
        }
    }
}

TEST(AutoAccess, ExceptionsPassAndLeaveTheModeOn)
{
    Transcript story("auto_exceptions", {"cam"});
    Rig rig(ReadOnly("gainAutoMaxValue"));
    CExCam& cam = rig.Open();
    CALL(story, cam.ExPropertySetAutoRangeGain(6, 12));
    sim::AddFault(AccessThrows(sim::Trigger::Read, "exposureAutoMinValue"));
    CALL(story, cam.ExPropertySetAutoRangeExpo(100, 200));
    EXPECT_FALSE(cam.propEntries[EXPOSURE_AUTO_MIN_PROPERTY_TYPE].floatRangeCached);
    for (const char* feature : {"autoBrightnessMode", "ExposureAuto", "ReverseX"}) {
        Rig refusing(ReadOnly(feature));
        CExCam& refused = refusing.Open();
        story.Line(std::string("read-only ") + feature);
        CALL(story, refused.ExPropertySetAutoCont(EXPOSURE_AUTO_PROPERTY_TYPE));
        CALL(story, refused.ExPropertySetEna(REVERSE_X_PROPERTY_TYPE, true));
    }
}

TEST(AutoAccess, MasterSwitchLeavesTheSelectors)
{
    Transcript story("auto_master_switch", {"log3", "cam"});
    Rig rig(Having({{"GainAuto", "Continuous"}}));
    CExCam& cam = rig.Open();
    story.state = [] { return Words(Rig::Feature("ExposureAuto"), Rig::Feature("GainAuto")); };
    CALL(story, cam.ExPropertySetAutoOff(GAIN_AUTO_PROPERTY_TYPE)); // the switch is off already
    CALL(story, cam.ExPropertySetAutoCont(EXPOSURE_AUTO_PROPERTY_TYPE));
    CALL(story, cam.ExPropertySetAutoCont(GAIN_AUTO_PROPERTY_TYPE)); // only logged
    CALL(story, cam.ExPropertySetAutoOff(EXPOSURE_AUTO_PROPERTY_TYPE));
}

TEST(AutoAccess, SelectorsDecideWithoutAMasterSwitch)
{
    Transcript story("auto_selectors", {"log", "cam"});
    Rig rig(Lacking({"autoBrightnessMode", "GainAuto"}));
    CExCam& cam = rig.Open();
    CALL(story, cam.ExPropertySetAutoCont(EXPOSURE_AUTO_PROPERTY_TYPE));
    CALL(story, cam.ExPropertySetAutoOff(EXPOSURE_AUTO_PROPERTY_TYPE));
    CALL(story, cam.ExPropertySetAutoOff(EXPOSURE_AUTO_PROPERTY_TYPE));
    CALL(story, cam.ExPropertySetEnaAutoPush(GAIN_AUTO_PROPERTY_TYPE, false));
    CALL(story, cam.ExPropertySetEnaAutoPush(GAIN_PROPERTY_TYPE, true));
    cam.nodeMap = nullptr;
    CALL(story, cam.ExPropertySetEnaAutoPush(GAIN_AUTO_PROPERTY_TYPE, true));
}
