/** Automatic exposure and gain, operation by operation. */
#include "tests/support/rig.h"

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
    EXPECT_EQ(cam.ExPropertySetEna(REVERSE_Y_PROPERTY_TYPE, true), -2);
    EXPECT_EQ(cam.ExPropertySetEna(WIDTH_PROPERTY_TYPE, true), -2);
    cam.nodeMap = nullptr;
    EXPECT_EQ(cam.ExPropertySetEna(REVERSE_Y_PROPERTY_TYPE, true), -1);
    EXPECT_EQ(Story(Rig::Of({"log", "cam"})), R"(
cam ReverseX=true
log3 kv_td_excam:ExPropertySetEna: ### set property 17 (ReverseX) to 1 ###
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
    const std::pair<float, int> cases[] = {
        {1.0F, 0}, {0.5F, 0}, {-0.0F, 0}, {1.0001F, -5}, {-0.0001F, -5}};
    for (const auto& [target, rc] : cases) {
        EXPECT_EQ(cam.ExSetAutoExpoVal(target), rc);
    }
    EXPECT_EQ(Story(Rig::Of({"log2", "cam"})), R"(
cam autoBrightnessTarget=255
cam autoBrightnessTarget=128
cam autoBrightnessTarget=0
log2 kv_td_excam:ExSetAutoExpoVal: the value 1.000100 is out of bounds [0.000000;1.000000]
log2 kv_td_excam:ExSetAutoExpoVal: the value -0.000100 is out of bounds [0.000000;1.000000]
)");
    Rig without(Lacking({"autoBrightnessTarget"}));
    EXPECT_EQ(without.Open().ExSetAutoExpoVal(0.5F), -2);
}

TEST(AutoAccess, GainLimitsMixUnits)
{
    Rig rig; // whose range of 0 to 18.06 dB are the factors 1 to 8
    EXPECT_EQ(rig.Open().ExPropertySetAutoRangeGain(6, 14), 0); // 1.995 and 5.01
    EXPECT_EQ(Rig::Feature("gainAutoMinValue") + " " + Rig::Feature("gainAutoMaxValue"), "1 5");
    EXPECT_EQ(rig.Cam().ExPropertySetAutoRangeGain(0, 20), -7);
}

TEST(AutoAccess, LimitsAreCheckedStepByStep)
{
    using Set = int (CExCam::*)(float, float);
    struct Case {
        float min;
        float max;
        int rc;
        std::string message = {};
    };
    for (const bool gain : {true, false}) {
        const Set set =
            gain ? &CExCam::ExPropertySetAutoRangeGain : &CExCam::ExPropertySetAutoRangeExpo;
        const std::string name = gain ? "GAIN" : "SHUTTER";
        const auto know = [gain](CExCam& cam, int of, float low, float high) {
            PropertyEntry& row = cam.propEntries[(gain ? GAIN_AUTO_MIN_PROPERTY_TYPE
                                                       : EXPOSURE_AUTO_MIN_PROPERTY_TYPE) +
                                                 of];
            row.floatMin = low;
            row.floatMax = high;
            row.floatRangeCached = true;
        };
        const auto steps = [&](CExCam& cam, std::initializer_list<Case> cases) {
            for (const Case& c : cases) {
                Rig::Clear();
                EXPECT_EQ((cam.*set)(c.min, c.max), c.rc) << name << c.min << " " << c.max;
                const Texts warnings = Rig::Of("log2");
                EXPECT_EQ(warnings.size(), c.rc == 0 ? 0U : 1U);
                EXPECT_TRUE(c.rc == 0 || warnings[0].ends_with(": " + c.message)) << warnings[0];
            }
        };
        const std::string min = "AUTO_" + name + "_RANGE Min is out of bounds: ";
        const std::string max = "AUTO_" + name + "_RANGE Max is out of bounds: ";
        Rig rig;
        know(rig.Open(), 0, 11, 15); // narrower than the camera's
        know(rig.Cam(), 1, 12, 16);
        steps(rig.Cam(), {{11, 12, 0},
                          {15, 16, 0},
                          {14, 13, -5, min + "14.000000 is out of 11.000000..15.000000"},
                          {10.5F, 13, -5, min + "10.500000 is out of 11.000000..15.000000"},
                          {15.5F, 16, -5, min + "15.500000 is out of 11.000000..15.000000"},
                          {11, 11.5F, -7, max + "11.500000 is out of 12.000000..16.000000"},
                          {11, 16.5F, -7, max + "16.500000 is out of 12.000000..16.000000"}});
        for (const int of : {0, 1}) {
            const std::string end = of == 0 ? "Min" : "Max";
            Rig lacking(Lacking({(gain ? "gainAuto" : "exposureAuto") + end + "Value"}));
            CExCam& cam = lacking.Open();
            steps(cam, {{11, 12, of == 0 ? -4 : -6,
                         std::string("Can't get ") + (gain ? "Gain " : "Shutter ") + end +
                             " values range for auto mode"}});
            know(cam, of, 10, 20); // it went missing later
            steps(cam, {{11, 12, of == 0 ? -8 : -9,
                         "Can't set AUTO_" + name + (of == 0 ? "_MIN" : "_MAX")}});
            EXPECT_EQ(Count(Rig::Of("cam"), "AutoMinValue="), of == 0 ? 0U : 1U) << "stays";
        }
    }
}

TEST(AutoAccess, ExceptionsPassAndLeaveTheModeOn)
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
    Rig refusing(ReadOnly("autoBrightnessMode"));
    EXPECT_THROW(refusing.Open().ExSetAutoExpoEna(false), GenICam::AccessException);
    Rig reverse(ReadOnly("ReverseX"));
    EXPECT_THROW(reverse.Open().ExPropertySetEna(REVERSE_X_PROPERTY_TYPE, true),
                 GenICam::AccessException);
}

TEST(AutoAccess, MasterSwitchLeavesTheSelectors)
{
    Rig rig(Having({{"GainAuto", "Continuous"}}));
    CExCam& cam = rig.Open();
    cam.ExPropertySetAutoOff(GAIN_AUTO_PROPERTY_TYPE); // it is off: nothing to do
    EXPECT_THAT(Rig::Of({"log3", "cam"}), IsEmpty());
    cam.ExPropertySetAutoCont(EXPOSURE_AUTO_PROPERTY_TYPE);
    cam.ExPropertySetAutoCont(GAIN_AUTO_PROPERTY_TYPE); // only told
    cam.ExPropertySetAutoOff(EXPOSURE_AUTO_PROPERTY_TYPE);
    EXPECT_EQ(Rig::Feature("ExposureAuto") + Rig::Feature("GainAuto"), "ContinuousContinuous");
    EXPECT_EQ(Story(Rig::Of({"log3", "cam"})), R"(
cam autoBrightnessMode=Active
cam ExposureAuto=Continuous
log3 kv_td_excam:ExPropertySetEnaAutoPush: ### set property 15 (ExposureAuto) to "Continuous" ###
log3 kv_td_excam:ExPropertySetEnaAutoPush: ### set property 16 (GainAuto) to "Continuous" ###
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
