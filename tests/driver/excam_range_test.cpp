#include "tests/driver/words.h"
#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(Ranges, IntegerRangeIsReadOnce)
{
    Rig rig;
    CExCam& cam = rig.Open();
    sim::AddFault(AccessThrows(sim::Trigger::Read, "Width", sim::ExceptionKind::Timeout, 2));
    EXPECT_THROW(cam.ExPropertyGetIntRange(WIDTH_PROPERTY_TYPE, nullptr, nullptr, nullptr),
                 GenICam::TimeoutException);
    Rig::Clear();
    EXPECT_EQ(cam.ExPropertyGetIntRange(WIDTH_PROPERTY_TYPE, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(Story(Rig::Of({"read", "log"})), R"(
read Width.Min=16
read Width.Max=64
read Width.Inc=4
log3 kv_td_excam:ExPropertyGetIntRange: ### get property 2 (Width) range: min=16 max=64 inc=4 ###
)") << "a failed reading is none";
    Rig::Clear();
    Rig::SetFeature("OffsetX", "16"); // now Width.Max is 48
    cam.nodeMap = nullptr;
    int min = 0;
    int max = 0;
    int inc = 0;
    EXPECT_EQ(cam.ExPropertyGetIntRange(WIDTH_PROPERTY_TYPE, &min, &max, &inc), 0);
    EXPECT_THAT((std::vector{min, max, inc}), ElementsAre(16, 64, 4));
    EXPECT_THAT(Rig::Of({"read", "log"}), IsEmpty());
}

TEST(Ranges, FloatRangeIsReadOnceWithItsPreparations)
{
    struct Case {
        PropertyType type;
        std::string name;
        float min;
        float max;
        std::string writes;
    };
    const std::string active = "autoBrightnessMode=Active ";
    const std::string off = "autoBrightnessMode=Off ";
    const std::string limits = active + "gainAutoSource=SensorAll " + off;
    for (const Case& c : std::initializer_list<Case>{
             {GAIN_PROPERTY_TYPE, "6 (Gain)", 0, 18.0618F, "GainSelector=SensorAll "},
             {EXPOSURE_TIME_PROPERTY_TYPE, "7 (ExposureTime)", 10, 2e6F, ""},
             {EXPOSURE_AUTO_MIN_PROPERTY_TYPE, "11 (exposureAutoMinValue)", 10, 2e6F, active + off},
             {EXPOSURE_AUTO_MAX_PROPERTY_TYPE, "12 (exposureAutoMaxValue)", 10, 2e6F, active + off},
             {GAIN_AUTO_MIN_PROPERTY_TYPE, "13 (gainAutoMinValue)", 0, 18.0618F, limits},
             {GAIN_AUTO_MAX_PROPERTY_TYPE, "14 (gainAutoMaxValue)", 0, 18.0618F, limits},
             {BALANCE_RATIO_RED_PROPERTY_TYPE, "20 (BalanceRatio)", -12.0412F, 12.0412F,
              "BalanceRatioSelector=Red "},
             {BALANCE_RATIO_BLUE_PROPERTY_TYPE, "21 (BalanceRatio)", -12.0412F, 12.0412F,
              "BalanceRatioSelector=Blue "},
         }) {
        Rig rig(SmallCamera(sim::Model::Color));
        CExCam& cam = rig.Open();
        float min = 0;
        float max = 0;
        EXPECT_EQ(cam.ExPropertyGetFloatRange(c.type, &min, &max), 0);
        EXPECT_NEAR(min, c.min, 1e-3) << c.name;
        EXPECT_NEAR(max, c.max, 1e-3) << c.name;
        EXPECT_THAT(Rig::Logs(), ElementsAre("3 ExPropertyGetFloatRange: ### get property " +
                                             c.name + " range: min=" + std::to_string(min) +
                                             " max=" + std::to_string(max) + " ###"));
        EXPECT_EQ(Take("cam"), c.writes);
        EXPECT_EQ(cam.ExPropertyGetFloatRange(c.type, nullptr, &max), 0);
        EXPECT_THAT(Rig::Of({"cam", "read", "log"}), IsEmpty());
    }
}

TEST(Ranges, BracketIsLeftOutInActiveModeAndClosedAfterAMissingFeature)
{
    Rig rig(Lacking({"gainAutoMaxValue", "gainAutoSource"}));
    CExCam& cam = rig.Open();
    EXPECT_EQ(cam.ExPropertyGetFloatRange(GAIN_AUTO_MAX_PROPERTY_TYPE, nullptr, nullptr), -2);
    EXPECT_EQ(Take("cam"), "autoBrightnessMode=Active autoBrightnessMode=Off ");
    EXPECT_FALSE(cam.propEntries[GAIN_AUTO_MAX_PROPERTY_TYPE].floatRangeCached);
    Rig::SetFeature("autoBrightnessMode", "Active");
    EXPECT_EQ(cam.ExPropertyGetFloatRange(GAIN_AUTO_MIN_PROPERTY_TYPE, nullptr, nullptr), 0);
    EXPECT_EQ(Take("cam"), "");
}
