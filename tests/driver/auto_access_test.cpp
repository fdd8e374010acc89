/** Automatic exposure and gain, operation by operation. */
#include "rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

sim::CameraSetup ReadOnly(const char* feature)
{
    sim::CameraSetup setup = SmallCamera();
    setup.readOnly = {feature};
    return setup;
}

} // namespace

TEST(AutoAccess, BooleansByTheirRow)
{
    Rig rig(Lacking({"ReverseY"}));
    CExCam& cam = rig.Open();
    EXPECT_EQ(cam.ExPropertySetEna(static_cast<PropertyType>(23 + 17), true), 0);
    EXPECT_EQ(cam.ExPropertySetEna(REVERSE_X_PROPERTY_TYPE, false), 0);
    EXPECT_EQ(cam.ExPropertySetEna(REVERSE_Y_PROPERTY_TYPE, true), -2);
    EXPECT_EQ(cam.ExPropertySetEna(WIDTH_PROPERTY_TYPE, true), -2);
    cam.nodeMap = nullptr;
    EXPECT_EQ(cam.ExPropertySetEna(REVERSE_Y_PROPERTY_TYPE, true), -1);
    EXPECT_EQ(Story(Rig::Of({"log", "cam"})), R"(
cam ReverseX=true
log3 kv_td_excam:ExPropertySetEna: ### set property 17 (ReverseX) to 1 ###
cam ReverseX=false
log3 kv_td_excam:ExPropertySetEna: ### set property 17 (ReverseX) to 0 ###
log2 kv_td_excam:ExPropertySetEna: can't get property info 18 (ReverseY)
)");
}

TEST(AutoAccess, SequenceAlreadySet)
{
    Rig rig;
    CExCam& cam = rig.Open();
    EXPECT_EQ(cam.ExSetAutoExpoEna(true), 0);
    EXPECT_EQ(cam.ExSetAutoExpoEna(true), -3) << "though it is Active";
    EXPECT_EQ(cam.ExSetAutoExpoEna(false), 0);
    EXPECT_EQ(Story(Rig::Of({"log", "cam"})), R"(
cam autoBrightnessMode=Active
log3 kv_td_excam:ExSetAutoExpoEna: ### set property autoBrightnessMode to Active ###
cam autoBrightnessSequence=Exposure_Gain_Iris
log3 kv_td_excam:ExSetAutoExpoEna: ### set property autoBrightnessSequence to ExpoGainIris ###
cam autoBrightnessMode=Active
log3 kv_td_excam:ExSetAutoExpoEna: ### set property autoBrightnessMode to Active ###
cam autoBrightnessMode=Off
log3 kv_td_excam:ExSetAutoExpoEna: ### set property autoBrightnessMode to Off ###
)");
    Rig without(Lacking({"autoBrightnessSequence"}));
    EXPECT_EQ(without.Open().ExSetAutoExpoEna(true), -3);
    EXPECT_EQ(Rig::Feature("autoBrightnessMode"), "Active");
    EXPECT_EQ(without.Cam().ExSetAutoExpoEna(false), 0);

    Rig none(Lacking({"autoBrightnessMode"}));
    EXPECT_EQ(none.Open().ExSetAutoExpoEna(true), -2);
    EXPECT_THAT(Rig::Of({"log", "cam"}), IsEmpty());
    none.Cam().nodeMap = nullptr;
    EXPECT_EQ(none.Cam().ExSetAutoExpoEna(true), -1);
    EXPECT_THAT(Rig::Logs(),
                ElementsAre("2 ExSetAutoExpoEna: can't get dev params to trigger Auto mode"));
}

TEST(AutoAccess, TargetIsAShareOf255RoundedHalfUp)
{
    Rig rig(Having({{"autoBrightnessMode", "Active"}}));
    CExCam& cam = rig.Open();
    for (const float target : {1.0F, 0.5F, -0.0F}) {
        EXPECT_EQ(cam.ExSetAutoExpoVal(target), 0);
    }
    EXPECT_THAT(Rig::Of("cam"), ElementsAre("autoBrightnessTarget=255", "autoBrightnessTarget=128",
                                            "autoBrightnessTarget=0"));
    Rig::Clear();
    for (const float target : {1.0001F, -0.0001F}) {
        EXPECT_EQ(cam.ExSetAutoExpoVal(target), -5);
    }
    EXPECT_THAT(Rig::Of({"log", "cam"}),
                ElementsAre("log2 kv_td_excam:ExSetAutoExpoVal: the value 1.000100 is out of "
                            "bounds [0.000000;1.000000]",
                            "log2 kv_td_excam:ExSetAutoExpoVal: the value -0.000100 is out of "
                            "bounds [0.000000;1.000000]"));
    Rig without(Lacking({"autoBrightnessTarget"}));
    EXPECT_EQ(without.Open().ExSetAutoExpoVal(0.5F), -2);
}

TEST(AutoAccess, GainLimitsMixUnits)
{
    Rig rig(Having({{"autoBrightnessMode", "Active"}, {"gainAutoSource", "DigitalAll"}}));
    CExCam& cam = rig.Open();
    // 0 to 18.06 dB are the factors 1 to 8; 6 dB are 1.995, 14 dB are 5.01.
    EXPECT_EQ(cam.ExPropertySetAutoRangeGain(6, 14), 0);
    EXPECT_EQ(Story(Rig::Of({"log", "cam"})), R"(
cam gainAutoSource=SensorAll
log3 kv_td_excam:ExPropertyGetFloatRange: ### get property 13 (gainAutoMinValue) range: min=0.000000 max=18.061800 ###
cam gainAutoSource=SensorAll
log3 kv_td_excam:ExPropertyGetFloatRange: ### get property 14 (gainAutoMaxValue) range: min=0.000000 max=18.061800 ###
cam gainAutoMinValue=1
log3 kv_td_excam:ExPropertySetFloat: ### set property 13 (gainAutoMinValue) to 1.000000 ###
cam gainAutoMaxValue=5
log3 kv_td_excam:ExPropertySetFloat: ### set property 14 (gainAutoMaxValue) to 5.000000 ###
)");
    Rig expo(Having({{"autoBrightnessMode", "Active"}}));
    EXPECT_EQ(expo.Open().ExPropertySetAutoRangeExpo(100.9F, 100.9F), 0);
    EXPECT_THAT(Rig::Of("cam"), ElementsAre("exposureAutoMinValue=100", "exposureAutoMaxValue=100"))
        << "whole microseconds";
}

TEST(AutoAccess, LimitsAreCheckedStepByStep)
{
    using Operation = int (CExCam::*)(float, float);
    struct Pair {
        Operation set;
        const char* name;
        const char* feature;
        PropertyType minType;
        float low;
        float high;
        const char* shown;
    };
    struct Case {
        float min; ///< on a scale where the range is 0 to 1, as its ends
        float max;
        int rc;
        const char* message;
    };
    for (const Pair& pair :
         {Pair{&CExCam::ExPropertySetAutoRangeGain, "GAIN", "gainAuto", GAIN_AUTO_MIN_PROPERTY_TYPE,
               2, 12, "2.000000..12.000000"},
          Pair{&CExCam::ExPropertySetAutoRangeExpo, "SHUTTER", "exposureAuto",
               EXPOSURE_AUTO_MIN_PROPERTY_TYPE, 200, 300, "200.000000..300.000000"}}) {
        const std::string range = std::string("AUTO_") + pair.name + "_RANGE ";
        for (const Case& c : {Case{0, 1, 0, ""}, Case{1, 1, 0, ""}, Case{0.6F, 0.5F, -5, "Min"},
                              Case{-0.1F, 0.5F, -5, "Min"}, Case{1.1F, 1.2F, -5, "Min"},
                              Case{0, 1.1F, -7, "Max"}}) {
            SCOPED_TRACE(range + std::to_string(c.min) + " " + std::to_string(c.max));
            Rig rig(Having({{"autoBrightnessMode", "Active"}}));
            CExCam& cam = rig.Open();
            for (int row = pair.minType; row <= pair.minType + 1; ++row) {
                cam.propEntries[row].floatMin = pair.low;
                cam.propEntries[row].floatMax = pair.high;
                cam.propEntries[row].floatRangeCached = true;
            }
            const auto scaled = [&](float x) { return pair.low + x * (pair.high - pair.low); };
            EXPECT_EQ((cam.*pair.set)(scaled(c.min), scaled(c.max)), c.rc);
            if (c.rc == 0) {
                EXPECT_EQ(Rig::Of("cam").size(), 2U);
                continue;
            }
            EXPECT_THAT(Rig::Of("cam"), IsEmpty());
            const float told = scaled(c.rc == -5 ? c.min : c.max);
            EXPECT_THAT(Rig::Of("log2"),
                        ElementsAre(testing::EndsWith(range + c.message +
                                                      " is out of bounds: " + std::to_string(told) +
                                                      " is out of " + pair.shown)));
        }
        // Failed steps: the feature is missing, or goes missing once its range is known.
        const std::string name = pair.minType == GAIN_AUTO_MIN_PROPERTY_TYPE ? "Gain" : "Shutter";
        for (const bool max : {false, true}) {
            const std::string end = max ? "Max" : "Min";
            const sim::CameraSetup lacking = Lacking({pair.feature + end + "Value"});
            Rig rig(lacking);
            CExCam& cam = rig.Open();
            EXPECT_EQ((cam.*pair.set)(11, 12), max ? -6 : -4);
            PropertyEntry& row = cam.propEntries[pair.minType + (max ? 1 : 0)];
            row.floatMax = 100;
            row.floatRangeCached = true;
            EXPECT_EQ((cam.*pair.set)(11, 12), max ? -9 : -8);
            EXPECT_THAT(Rig::Of("log2"),
                        ElementsAre(testing::EndsWith("Can't get " + name + " " + end +
                                                      " values range for auto mode"),
                                    testing::EndsWith(std::string("Can't set AUTO_") + pair.name +
                                                      (max ? "_MAX" : "_MIN"))));
            EXPECT_EQ(Count(Rig::Of("cam"), "MinValue="), max ? 1U : 0U) << "stays written";
        }
    }
}

TEST(AutoAccess, ExceptionLeavesTheModeOn)
{
    Rig rig(ReadOnly("gainAutoMaxValue"));
    CExCam& cam = rig.Open();
    EXPECT_THROW(cam.ExPropertySetAutoRangeGain(6, 12), GenICam::AccessException);
    EXPECT_EQ(Rig::Feature("autoBrightnessMode"), "Off");
    EXPECT_EQ(Rig::Feature("gainAutoMinValue"), "1");
    sim::AddFault(AccessThrows(sim::Trigger::Read, "exposureAutoMinValue"));
    EXPECT_THROW(cam.ExPropertySetAutoRangeExpo(100, 200), GenICam::RuntimeException);
    EXPECT_EQ(Rig::Feature("autoBrightnessMode"), "Active") << "switched on for the range";
    EXPECT_FALSE(cam.propEntries[EXPOSURE_AUTO_MIN_PROPERTY_TYPE].floatRangeCached);

    Rig switches(ReadOnly("autoBrightnessSequence"));
    EXPECT_THROW(switches.Open().ExSetAutoExpoEna(true), GenICam::AccessException);
    EXPECT_EQ(Rig::Feature("autoBrightnessMode"), "Active");
    for (const char* feature : {"autoBrightnessMode", "ExposureAuto"}) {
        Rig refusing(ReadOnly(feature));
        EXPECT_THROW(refusing.Open().ExPropertySetAutoCont(EXPOSURE_AUTO_PROPERTY_TYPE),
                     GenICam::AccessException);
    }
}

TEST(AutoAccess, MasterSwitchLeavesTheSelectors)
{
    Rig rig(Having({{"GainAuto", "Continuous"}}));
    CExCam& cam = rig.Open();
    cam.ExPropertySetAutoOff(GAIN_AUTO_PROPERTY_TYPE); // it is off: nothing to do
    cam.ExPropertySetAutoCont(EXPOSURE_AUTO_PROPERTY_TYPE);
    cam.ExPropertySetAutoCont(GAIN_AUTO_PROPERTY_TYPE); // only told
    cam.ExPropertySetAutoOff(EXPOSURE_AUTO_PROPERTY_TYPE);
    EXPECT_EQ(Rig::Feature("ExposureAuto") + " " + Rig::Feature("GainAuto"),
              "Continuous Continuous");
    EXPECT_EQ(Story(Rig::Of({"log", "cam"})), R"(
log4 kv_td_excam:ExPropertySetEnaAutoPush: Entry to manage Auto functions set: property 16 (GainAuto) ena=0
log4 kv_td_excam:ExPropertySetEnaAutoPush: Entry to manage Auto functions set: property 15 (ExposureAuto) ena=1
cam autoBrightnessMode=Active
cam ExposureAuto=Continuous
log3 kv_td_excam:ExPropertySetEnaAutoPush: ### set property 15 (ExposureAuto) to "Continuous" ###
log4 kv_td_excam:ExPropertySetEnaAutoPush: Entry to manage Auto functions set: property 16 (GainAuto) ena=1
log3 kv_td_excam:ExPropertySetEnaAutoPush: ### set property 16 (GainAuto) to "Continuous" ###
log4 kv_td_excam:ExPropertySetEnaAutoPush: Entry to manage Auto functions set: property 15 (ExposureAuto) ena=0
cam autoBrightnessMode=Off
)");
}

TEST(AutoAccess, SelectorsDecideWithoutAMasterSwitch)
{
    Rig rig(Lacking({"autoBrightnessMode", "GainAuto"}));
    CExCam& cam = rig.Open();
    cam.ExPropertySetAutoCont(EXPOSURE_AUTO_PROPERTY_TYPE);
    cam.ExPropertySetAutoOff(EXPOSURE_AUTO_PROPERTY_TYPE);
    cam.ExPropertySetAutoOff(EXPOSURE_AUTO_PROPERTY_TYPE);
    EXPECT_EQ(Story(Rig::Of({"log3", "cam"})), R"(
cam ExposureAuto=Continuous
log3 kv_td_excam:ExPropertySetEnaAutoPush: ### set property 15 (ExposureAuto) to "Continuous" ###
cam ExposureAuto=Off
log3 kv_td_excam:ExPropertySetEnaAutoPush: ### set property 15 (ExposureAuto) to "Off" ###
log3 kv_td_excam:ExPropertySetEnaAutoPush: ### set property 15 (ExposureAuto) to "Off" ###
)");
    EXPECT_EQ(cam.ExPropertySetEnaAutoPush(GAIN_AUTO_PROPERTY_TYPE, false), -2);
    EXPECT_EQ(cam.ExPropertySetEnaAutoPush(GAIN_PROPERTY_TYPE, true), -2);
    cam.nodeMap = nullptr;
    EXPECT_EQ(cam.ExPropertySetEnaAutoPush(GAIN_AUTO_PROPERTY_TYPE, true), -1);
    EXPECT_THAT(Rig::Of("log2"), ElementsAre("kv_td_excam:ExPropertySetEnaAutoPush: Can't get dev "
                                             "params to enable Auto mode"));
}
