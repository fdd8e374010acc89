#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(CamObject, StartsWithIdleIoBoxSets)
{
    Rig rig;
    const CExCam& cam = rig.Open();
    for (int i = 0; i < kIoBoxRecordCount; ++i) {
        const IoBoxSet& set = cam.lineStates[i];
        EXPECT_EQ(set.setIndex, i % 4);
        EXPECT_EQ(set.appliedLimitUs, 0U);
        EXPECT_EQ(set.param0, 0xFFFFFFFF);
        EXPECT_EQ(set.param1, 0xFFFFFFFF);
        EXPECT_EQ(set.pendingCmd, 0xFFFFFFFF);
        EXPECT_TRUE(set.ready);
        EXPECT_FALSE(set.applyPending);
    }
}

TEST(Accessors, WithoutANodeMapTheyWarnAndGiveMinusOne)
{
    Rig rig;
    CExCam& cam = rig.Open();
    cam.nodeMap = nullptr;
    EXPECT_EQ(cam.ExPropertyGetInt(WIDTH_PROPERTY_TYPE, nullptr), -1);
    EXPECT_EQ(cam.ExPropertySetInt(AUTO_BRIGHTNESS_TARGET_PROPERTY_TYPE, 1), -1);
    EXPECT_EQ(cam.ExPropertyGetIntRange(OFFSET_Y_PROPERTY_TYPE, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(cam.ExPropertyGetFloat(GAIN_PROPERTY_TYPE, nullptr), -1);
    EXPECT_EQ(cam.ExPropertySetFloat(BALANCE_RATIO_RED_PROPERTY_TYPE, 1), -1);
    EXPECT_EQ(cam.ExPropertyGetFloatRange(static_cast<PropertyType>(23 + 21), nullptr, nullptr),
              -1);
    EXPECT_EQ(cam.ExPropertySetEnumFromStr("GainAuto", "Off"), -1);
    EXPECT_EQ(Story(Rig::Logs()), R"(
2 ExPropertyGetInt: can't get property info 2 (Width)
2 ExPropertySetInt: can't get property info 10 (autoBrightnessTarget)
2 ExPropertyGetIntRange: can't get property info 5 (OffsetY)
2 ExPropertyGetFloat: can't get property info 6 (Gain)
2 ExPropertySetFloat: can't get property info 20 (BalanceRatio)
2 ExPropertyGetFloatRange: can't get property info 21 (BalanceRatio)
2 ExPropertySetEnumFromStr: can't get dev params to change LutGamma mode
)");
}

TEST(Accessors, FeatureMissingOrOfAnotherKindGivesMinusTwoSilently)
{
    sim::CameraSetup setup = SmallCamera();
    setup.missing = {"Width", "ExposureTime", "GainAuto"};
    setup.mistyped = {{"Height", sim::NodeKind::Float}, {"Gain", sim::NodeKind::Integer}};
    Rig rig(setup);
    CExCam& cam = rig.Open();
    int number = 77;
    float value = 77;
    for (const PropertyType type :
         {WIDTH_PROPERTY_TYPE, HEIGHT_PROPERTY_TYPE, EXPOSURE_AUTO_PROPERTY_TYPE,
          REVERSE_X_PROPERTY_TYPE, UNSPECIFIED_PROPERTY_TYPE}) {
        EXPECT_EQ(cam.ExPropertyGetInt(type, &number), -2) << type;
        EXPECT_EQ(cam.ExPropertySetInt(type, 16), -2) << type;
        EXPECT_EQ(cam.ExPropertyGetIntRange(type, &number, &number, &number), -2) << type;
    }
    for (const PropertyType type :
         {EXPOSURE_TIME_PROPERTY_TYPE, GAIN_PROPERTY_TYPE, WIDTH_MAX_PROPERTY_TYPE,
          GAIN_AUTO_PROPERTY_TYPE, UNSPECIFIED_PROPERTY_TYPE}) {
        EXPECT_EQ(cam.ExPropertyGetFloat(type, &value), -2) << type;
        EXPECT_EQ(cam.ExPropertySetFloat(type, 16), -2) << type;
        EXPECT_EQ(cam.ExPropertyGetFloatRange(type, &value, &value), -2) << type;
    }
    EXPECT_EQ(cam.ExPropertySetEnumFromStr("GainAuto", "Off"), -2);
    EXPECT_EQ(cam.ExPropertySetEnumFromStr("WidthMax", "Off"), -2);
    EXPECT_EQ(number, 77);
    EXPECT_EQ(value, 77);
    EXPECT_THAT(Rig::Logs(), IsEmpty());
}

TEST(Accessors, TypeIsReducedModuloTheTable)
{
    Rig rig;
    CExCam& cam = rig.Open();
    int value = 0;
    EXPECT_EQ(cam.ExPropertyGetInt(static_cast<PropertyType>(23), &value), 0);
    EXPECT_EQ(cam.ExPropertyGetInt(static_cast<PropertyType>(-23), &value), 0);
    EXPECT_THAT(Rig::Of("read"), ElementsAre("WidthMax=64", "WidthMax=64"));
    EXPECT_EQ(cam.ExPropertyGetInt(static_cast<PropertyType>(-1), &value), -2);
    EXPECT_EQ(cam.ExPropertySetFloat(static_cast<PropertyType>(-17), 1), -2);
}

TEST(Accessors, ExceptionsPassThrough)
{
    Rig rig;
    CExCam& cam = rig.Open();
    EXPECT_THROW(cam.ExPropertySetInt(WIDTH_PROPERTY_TYPE, 5), GenICam::OutOfRangeException);
    EXPECT_THROW(cam.ExPropertySetInt(WIDTH_MAX_PROPERTY_TYPE, 64), GenICam::AccessException);
    EXPECT_THROW(cam.ExPropertySetFloat(GAIN_PROPERTY_TYPE, 99), GenICam::OutOfRangeException);
    EXPECT_THROW(cam.ExPropertySetEnumFromStr("GainAuto", "Maybe"),
                 GenICam::InvalidArgumentException);
    GenApi::CNodeMapRef nothing;
    cam.nodeMap = &nothing;
    EXPECT_THROW(cam.ExPropertyGetInt(WIDTH_PROPERTY_TYPE, nullptr), GenICam::AccessException);
    EXPECT_THAT(Rig::Logs(), IsEmpty());
}

TEST(Accessors, IntegersAndEnumerations)
{
    Rig rig;
    CExCam& cam = rig.Open();
    EXPECT_EQ(cam.ExPropertySetInt(WIDTH_PROPERTY_TYPE, 32), 0);
    int value = 0;
    EXPECT_EQ(cam.ExPropertyGetInt(WIDTH_PROPERTY_TYPE, &value), 0);
    EXPECT_EQ(value, 32);
    EXPECT_EQ(cam.ExPropertyGetInt(WIDTH_PROPERTY_TYPE, nullptr), 0);
    EXPECT_EQ(cam.ExPropertySetEnumFromStr("GainAuto", "Continuous"), 0);
    EXPECT_EQ(Story(Rig::Of({"log", "cam", "read"})), R"(
cam Width=32
log3 kv_td_excam:ExPropertySetInt: ### set property 2 (Width) to 32 ###
read Width=32
read Width=32
cam GainAuto=Continuous
log4 kv_td_excam:ExPropertySetEnumFromStr: ### set enum param "GainAuto" to "Continuous"
)");
}

TEST(Accessors, GainIsInDecibelsUnderItsSelector)
{
    Rig rig;
    CExCam& cam = rig.Open();
    sim::SetFeatureText("S0000001", "GainSelector", "DigitalAll");
    EXPECT_EQ(cam.ExPropertySetFloat(GAIN_PROPERTY_TYPE, 0), 0);
    EXPECT_EQ(cam.ExPropertySetFloat(GAIN_PROPERTY_TYPE, 12.5F), 0);
    float value = 0;
    EXPECT_EQ(cam.ExPropertyGetFloat(GAIN_PROPERTY_TYPE, &value), 0);
    EXPECT_FLOAT_EQ(value, 12.5F);
    EXPECT_THAT(
        Rig::Of({"log", "cam"}),
        ElementsAre(
            "cam GainSelector=SensorAll", "cam Gain=1",
            "log3 kv_td_excam:ExPropertySetFloat: ### set property 6 (Gain) to 0.000000 ###",
            "cam GainSelector=SensorAll", testing::StartsWith("cam Gain=4.2169"),
            "log3 kv_td_excam:ExPropertySetFloat: ### set property 6 (Gain) to 12.500000 "
            "###",
            "cam GainSelector=SensorAll"));
}

TEST(Accessors, BalanceRatiosDifferByTheirSelector)
{
    Rig rig(SmallCamera(sim::Model::Color));
    CExCam& cam = rig.Open();
    EXPECT_EQ(cam.ExPropertySetFloat(BALANCE_RATIO_RED_PROPERTY_TYPE, 0), 0);
    EXPECT_EQ(cam.ExPropertySetFloat(BALANCE_RATIO_BLUE_PROPERTY_TYPE, 6), 0);
    float red = 7;
    float blue = 7;
    EXPECT_EQ(cam.ExPropertyGetFloat(BALANCE_RATIO_RED_PROPERTY_TYPE, &red), 0);
    EXPECT_EQ(cam.ExPropertyGetFloat(BALANCE_RATIO_BLUE_PROPERTY_TYPE, &blue), 0);
    EXPECT_FLOAT_EQ(red, 0);
    EXPECT_FLOAT_EQ(blue, 6);
    EXPECT_THAT(Rig::Of("cam"),
                ElementsAre("BalanceRatioSelector=Red", "BalanceRatio=1",
                            "BalanceRatioSelector=Blue", testing::StartsWith("BalanceRatio=1.995"),
                            "BalanceRatioSelector=Red", "BalanceRatioSelector=Blue"));
}

TEST(Accessors, MissingSelectorIsPassedOver)
{
    sim::CameraSetup setup = SmallCamera();
    setup.missing = {"GainSelector"};
    Rig rig(setup);
    CExCam& cam = rig.Open();
    float value = 7;
    EXPECT_EQ(cam.ExPropertyGetFloat(GAIN_PROPERTY_TYPE, &value), 0);
    EXPECT_FLOAT_EQ(value, 0) << "in dB all the same";
    EXPECT_THAT(Rig::Of({"cam", "read"}), ElementsAre("read Gain=1"));
}

TEST(Accessors, BrightnessTargetIsWrittenInActiveMode)
{
    Rig rig;
    CExCam& cam = rig.Open();
    EXPECT_EQ(cam.ExPropertySetInt(AUTO_BRIGHTNESS_TARGET_PROPERTY_TYPE, 100), 0);
    EXPECT_EQ(Story(Rig::Of({"cam", "log"})), R"(
cam autoBrightnessMode=Active
cam autoBrightnessTarget=100
log3 kv_td_excam:ExPropertySetInt: ### set property 10 (autoBrightnessTarget) to 100 ###
cam autoBrightnessMode=Off
)");
    sim::SetFeatureText("S0000001", "autoBrightnessMode", "Active");
    Rig::Clear();
    EXPECT_EQ(cam.ExPropertySetInt(AUTO_BRIGHTNESS_TARGET_PROPERTY_TYPE, 50), 0);
    EXPECT_THAT(Rig::Of("cam"), ElementsAre("autoBrightnessTarget=50"));
}

TEST(Accessors, BrightnessModeIsRestoredUnlessTheWriteThrows)
{
    sim::CameraSetup setup = SmallCamera();
    setup.missing = {"autoBrightnessTarget"};
    {
        Rig rig(setup);
        EXPECT_EQ(rig.Open().ExPropertySetInt(AUTO_BRIGHTNESS_TARGET_PROPERTY_TYPE, 1), -2);
        EXPECT_THAT(Rig::Of("cam"),
                    ElementsAre("autoBrightnessMode=Active", "autoBrightnessMode=Off"));
    }
    {
        Rig rig;
        EXPECT_THROW(rig.Open().ExPropertySetInt(AUTO_BRIGHTNESS_TARGET_PROPERTY_TYPE, 256),
                     GenICam::OutOfRangeException);
        EXPECT_THAT(Rig::Of("cam"), ElementsAre("autoBrightnessMode=Active"));
    }
    setup.missing = {"autoBrightnessMode"};
    Rig rig(setup);
    EXPECT_EQ(rig.Open().ExPropertySetInt(AUTO_BRIGHTNESS_TARGET_PROPERTY_TYPE, 1), 0);
}
