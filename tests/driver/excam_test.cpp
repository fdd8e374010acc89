#include "tests/driver/words.h"
#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

// What the accessors give back.
int number = 77;
float value = 77;

using Access = int (*)(CExCam& cam, PropertyType type);
constexpr Access kOfIntegers[] = {
    [](CExCam& cam, PropertyType type) { return cam.ExPropertyGetInt(type, &number); },
    [](CExCam& cam, PropertyType type) { return cam.ExPropertySetInt(type, 16); },
    [](CExCam& cam, PropertyType type) {
        return cam.ExPropertyGetIntRange(type, &number, &number, &number);
    }};
constexpr Access kOfFloats[] = {
    [](CExCam& cam, PropertyType type) { return cam.ExPropertyGetFloat(type, &value); },
    [](CExCam& cam, PropertyType type) { return cam.ExPropertySetFloat(type, 16); },
    [](CExCam& cam, PropertyType type) {
        return cam.ExPropertyGetFloatRange(type, &value, &value);
    }};

} // namespace

TEST(Accessors, WithoutANodeMapTheyWarnAndGiveMinusOne)
{
    Rig rig;
    CExCam& cam = rig.Open();
    cam.nodeMap = nullptr;
    for (const Access access : kOfIntegers) {
        EXPECT_EQ(access(cam, AUTO_BRIGHTNESS_TARGET_PROPERTY_TYPE), -1);
    }
    for (const Access access : kOfFloats) {
        EXPECT_EQ(access(cam, static_cast<PropertyType>(23 + 21)), -1);
    }
    EXPECT_EQ(cam.ExPropertySetEnumFromStr("GainAuto", "Off"), -1);
    EXPECT_EQ(Story(Rig::Logs()), R"(
2 ExPropertyGetInt: can't get property info 10 (autoBrightnessTarget)
2 ExPropertySetInt: can't get property info 10 (autoBrightnessTarget)
2 ExPropertyGetIntRange: can't get property info 10 (autoBrightnessTarget)
2 ExPropertyGetFloat: can't get property info 21 (BalanceRatio)
2 ExPropertySetFloat: can't get property info 21 (BalanceRatio)
2 ExPropertyGetFloatRange: can't get property info 21 (BalanceRatio)
2 ExPropertySetEnumFromStr: can't get dev params to change LutGamma mode
)");
}

TEST(Accessors, FeatureMissingOrOfAnotherKindGivesMinusTwoSilently)
{
    sim::CameraSetup setup = Lacking({"Width", "ExposureTime", "GainAuto"});
    setup.mistyped = {{"Height", sim::NodeKind::Float}, {"Gain", sim::NodeKind::Integer}};
    Rig rig(setup);
    CExCam& cam = rig.Open();
    for (const Access access : kOfIntegers) {
        for (const PropertyType type :
             {WIDTH_PROPERTY_TYPE, HEIGHT_PROPERTY_TYPE, EXPOSURE_AUTO_PROPERTY_TYPE,
              REVERSE_X_PROPERTY_TYPE, UNSPECIFIED_PROPERTY_TYPE}) {
            EXPECT_EQ(access(cam, type), -2) << type;
        }
    }
    for (const Access access : kOfFloats) {
        for (const PropertyType type :
             {EXPOSURE_TIME_PROPERTY_TYPE, GAIN_PROPERTY_TYPE, WIDTH_MAX_PROPERTY_TYPE,
              GAIN_AUTO_PROPERTY_TYPE, UNSPECIFIED_PROPERTY_TYPE}) {
            EXPECT_EQ(access(cam, type), -2) << type;
        }
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
    EXPECT_EQ(cam.ExPropertyGetInt(static_cast<PropertyType>(23), nullptr), 0);
    EXPECT_EQ(cam.ExPropertyGetInt(static_cast<PropertyType>(-23), nullptr), 0);
    EXPECT_EQ(Take("read"), "WidthMax=64 WidthMax=64 ");
    EXPECT_EQ(cam.ExPropertyGetInt(static_cast<PropertyType>(-21), nullptr), -2) << "the last row";
    EXPECT_EQ(cam.ExPropertySetFloat(static_cast<PropertyType>(-17), 1), -2) << "not the gain's";
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

TEST(Accessors, MissingSelectorIsPassedOver)
{
    Rig rig(Lacking({"GainSelector"}));
    EXPECT_EQ(rig.Open().ExPropertyGetFloat(GAIN_PROPERTY_TYPE, &value), 0);
    EXPECT_FLOAT_EQ(value, 0) << "in dB all the same";
    EXPECT_THAT(Rig::Of({"cam", "read"}), ElementsAre("read Gain=1"));
}

TEST(Accessors, BrightnessModeIsRestoredUnlessTheWriteThrows)
{
    struct Case {
        sim::CameraSetup setup;
        int target;
        int rc;
        std::string writes;
    };
    const std::string on = "autoBrightnessMode=Active ";
    const std::string off = "autoBrightnessMode=Off ";
    for (const Case& c : std::initializer_list<Case>{
             {SmallCamera(), 100, 0, on + "autoBrightnessTarget=100 " + off},
             {Having({{"autoBrightnessMode", "Active"}}), 50, 0, "autoBrightnessTarget=50 "},
             {Lacking({"autoBrightnessTarget"}), 1, -2, on + off},
             {Lacking({"autoBrightnessMode"}), 1, 0, "autoBrightnessTarget=1 "}}) {
        Rig rig(c.setup);
        EXPECT_EQ(rig.Open().ExPropertySetInt(AUTO_BRIGHTNESS_TARGET_PROPERTY_TYPE, c.target),
                  c.rc);
        EXPECT_EQ(Take("cam"), c.writes);
    }
    Rig rig;
    EXPECT_THROW(rig.Open().ExPropertySetInt(AUTO_BRIGHTNESS_TARGET_PROPERTY_TYPE, 256),
                 GenICam::OutOfRangeException);
    EXPECT_EQ(Take("cam"), on);
}
