#include "tests/driver/transcript.h"
#include "tests/driver/words.h"
#include "tests/support/rig.h"

#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;

namespace
{

/** All accessors of one property. */
void Access(Transcript& story, CExCam& cam, PropertyType type)
{
    int number = 77;
    float value = 77;
    story.Line(Words("property", static_cast<int>(type)));
    story.state = [&] { return Words(number, value); };
    CALL(story, cam.ExPropertyGetInt(type, &number));
    CALL(story, cam.ExPropertySetInt(type, 16));
    CALL(story, cam.ExPropertyGetIntRange(type, &number, &number, &number));
    CALL(story, cam.ExPropertyGetFloat(type, &value));
    CALL(story, cam.ExPropertySetFloat(type, 16));
    CALL(story, cam.ExPropertyGetFloatRange(type, &value, &value));
    story.state = nullptr;
}

} // namespace

TEST(Accessors, SuccessGivesZero)
{
    Transcript story("accessors_success", {"log", "cam", "read"});
    Rig rig;
    CExCam& cam = rig.Open();
    Access(story, cam, WIDTH_PROPERTY_TYPE);
    Access(story, cam, GAIN_PROPERTY_TYPE);
    CALL(story, cam.ExPropertySetEnumFromStr("GainAuto", "Continuous"));
}

TEST(Accessors, WithoutANodeMapTheyWarnAndGiveMinusOne)
{
    Transcript story("accessors_no_map", {"log"});
    Rig rig;
    CExCam& cam = rig.Open();
    cam.nodeMap = nullptr;
    Access(story, cam, AUTO_BRIGHTNESS_TARGET_PROPERTY_TYPE);
    Access(story, cam, static_cast<PropertyType>(23 + 21));
    CALL(story, cam.ExPropertySetEnumFromStr("GainAuto", "Off"));
}

TEST(Accessors, FeatureMissingOrOfAnotherKindGivesMinusTwoSilently)
{
    Transcript story("accessors_missing", {"log", "cam"});
    sim::CameraSetup setup = Lacking({"Width", "ExposureTime", "GainAuto"});
    setup.mistyped = {{"Height", sim::NodeKind::Float}, {"Gain", sim::NodeKind::Integer}};
    Rig rig(setup);
    CExCam& cam = rig.Open();
    for (const PropertyType type :
         {WIDTH_PROPERTY_TYPE, HEIGHT_PROPERTY_TYPE, EXPOSURE_TIME_PROPERTY_TYPE,
          GAIN_PROPERTY_TYPE, EXPOSURE_AUTO_PROPERTY_TYPE, GAIN_AUTO_PROPERTY_TYPE,
          REVERSE_X_PROPERTY_TYPE, UNSPECIFIED_PROPERTY_TYPE}) {
        Access(story, cam, type);
    }
    CALL(story, cam.ExPropertySetEnumFromStr("GainAuto", "Off"));
    CALL(story, cam.ExPropertySetEnumFromStr("WidthMax", "Off"));
}

TEST(Accessors, TypeIsReducedModuloTheTable)
{
    Rig rig;
    CExCam& cam = rig.Open();
    EXPECT_EQ(cam.ExPropertyGetInt(static_cast<PropertyType>(23), nullptr), 0);
    EXPECT_EQ(cam.ExPropertyGetInt(static_cast<PropertyType>(-23), nullptr), 0);
    EXPECT_EQ(Rig::Of("read"), Texts(2, "WidthMax=64"));
    EXPECT_EQ(cam.ExPropertyGetInt(static_cast<PropertyType>(-21), nullptr), -2) << "the last row";
    EXPECT_EQ(cam.ExPropertySetFloat(static_cast<PropertyType>(-17), 1), -2) << "not the gain's";
}

TEST(Accessors, ExceptionsPassThrough)
{
    Transcript story("accessors_exceptions", {"log", "cam"});
    Rig rig;
    CExCam& cam = rig.Open();
    CALL(story, cam.ExPropertySetInt(WIDTH_PROPERTY_TYPE, 5));
    CALL(story, cam.ExPropertySetInt(WIDTH_MAX_PROPERTY_TYPE, 64));
    CALL(story, cam.ExPropertySetFloat(GAIN_PROPERTY_TYPE, 99));
    CALL(story, cam.ExPropertySetEnumFromStr("GainAuto", "Maybe"));
    GenApi::CNodeMapRef nothing;
    cam.nodeMap = &nothing;
    CALL(story, cam.ExPropertyGetInt(WIDTH_PROPERTY_TYPE, nullptr));
}

TEST(Accessors, MissingSelectorIsPassedOver)
{
    Rig rig(Lacking({"GainSelector"}));
    float value = 7;
    EXPECT_EQ(rig.Open().ExPropertyGetFloat(GAIN_PROPERTY_TYPE, &value), 0);
    EXPECT_FLOAT_EQ(value, 0) << "in dB all the same";
    EXPECT_TRUE(Rig::Of("cam").empty());
}

TEST(Accessors, BrightnessModeIsRestoredUnlessTheWriteThrows)
{
    Transcript story("accessors_brightness", {"log", "cam"});
    for (const auto& [what, setup] : {std::pair("all there", SmallCamera()),
                                      {"active", Having({{"autoBrightnessMode", "Active"}})},
                                      {"no target", Lacking({"autoBrightnessTarget"})},
                                      {"no mode", Lacking({"autoBrightnessMode"})}}) {
        Rig rig(setup);
        CExCam& cam = rig.Open();
        story.Line(what);
        CALL(story, cam.ExPropertySetInt(AUTO_BRIGHTNESS_TARGET_PROPERTY_TYPE, 100));
        CALL(story, cam.ExPropertySetInt(AUTO_BRIGHTNESS_TARGET_PROPERTY_TYPE, 256));
    }
}
