#include "tests/driver/transcript.h"
#include "tests/driver/words.h"
#include "tests/support/rig.h"

#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;

namespace
{

/** All accessors of one property. */
void Access(Transcript& told, CExCam& cam, PropertyType type)
{
    int number = 77;
    float value = 77;
    told.Line(Words("property", static_cast<int>(type)));
    told.state = [&] { return Words(number, value); };
    TELL(told, cam.ExPropertyGetInt(type, &number));
    TELL(told, cam.ExPropertySetInt(type, 16));
    TELL(told, cam.ExPropertyGetIntRange(type, &number, &number, &number));
    TELL(told, cam.ExPropertyGetFloat(type, &value));
    TELL(told, cam.ExPropertySetFloat(type, 16));
    TELL(told, cam.ExPropertyGetFloatRange(type, &value, &value));
    told.state = nullptr;
}

} // namespace

TEST(Accessors, SuccessGivesZero)
{
    Transcript told("accessors_success", {"log", "cam", "read"});
    Rig rig;
    CExCam& cam = rig.Open();
    Access(told, cam, WIDTH_PROPERTY_TYPE);
    Access(told, cam, GAIN_PROPERTY_TYPE);
    TELL(told, cam.ExPropertySetEnumFromStr("GainAuto", "Continuous"));
}

TEST(Accessors, WithoutANodeMapTheyWarnAndGiveMinusOne)
{
    Transcript told("accessors_no_map", {"log"});
    Rig rig;
    CExCam& cam = rig.Open();
    cam.nodeMap = nullptr;
    Access(told, cam, AUTO_BRIGHTNESS_TARGET_PROPERTY_TYPE);
    Access(told, cam, static_cast<PropertyType>(23 + 21));
    TELL(told, cam.ExPropertySetEnumFromStr("GainAuto", "Off"));
}

TEST(Accessors, FeatureMissingOrOfAnotherKindGivesMinusTwoSilently)
{
    Transcript told("accessors_missing", {"log", "cam"});
    sim::CameraSetup setup = Lacking({"Width", "ExposureTime", "GainAuto"});
    setup.mistyped = {{"Height", sim::NodeKind::Float}, {"Gain", sim::NodeKind::Integer}};
    Rig rig(setup);
    CExCam& cam = rig.Open();
    for (const PropertyType type :
         {WIDTH_PROPERTY_TYPE, HEIGHT_PROPERTY_TYPE, EXPOSURE_TIME_PROPERTY_TYPE,
          GAIN_PROPERTY_TYPE, EXPOSURE_AUTO_PROPERTY_TYPE, GAIN_AUTO_PROPERTY_TYPE,
          REVERSE_X_PROPERTY_TYPE, UNSPECIFIED_PROPERTY_TYPE}) {
        Access(told, cam, type);
    }
    TELL(told, cam.ExPropertySetEnumFromStr("GainAuto", "Off"));
    TELL(told, cam.ExPropertySetEnumFromStr("WidthMax", "Off"));
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
    Transcript told("accessors_exceptions", {"log", "cam"});
    Rig rig;
    CExCam& cam = rig.Open();
    TELL(told, cam.ExPropertySetInt(WIDTH_PROPERTY_TYPE, 5));
    TELL(told, cam.ExPropertySetInt(WIDTH_MAX_PROPERTY_TYPE, 64));
    TELL(told, cam.ExPropertySetFloat(GAIN_PROPERTY_TYPE, 99));
    TELL(told, cam.ExPropertySetEnumFromStr("GainAuto", "Maybe"));
    GenApi::CNodeMapRef nothing;
    cam.nodeMap = &nothing;
    TELL(told, cam.ExPropertyGetInt(WIDTH_PROPERTY_TYPE, nullptr));
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
    Transcript told("accessors_brightness", {"log", "cam"});
    for (const auto& [what, setup] : {std::pair("all there", SmallCamera()),
                                      {"active", Having({{"autoBrightnessMode", "Active"}})},
                                      {"no target", Lacking({"autoBrightnessTarget"})},
                                      {"no mode", Lacking({"autoBrightnessMode"})}}) {
        Rig rig(setup);
        CExCam& cam = rig.Open();
        told.Line(what);
        TELL(told, cam.ExPropertySetInt(AUTO_BRIGHTNESS_TARGET_PROPERTY_TYPE, 100));
        TELL(told, cam.ExPropertySetInt(AUTO_BRIGHTNESS_TARGET_PROPERTY_TYPE, 256));
    }
}
