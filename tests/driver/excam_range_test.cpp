#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

TEST(Ranges, IntegerRangeIsReadOnce)
{
    Rig rig;
    CExCam& cam = rig.Open();
    int min = 0;
    int max = 0;
    int inc = 0;
    EXPECT_EQ(cam.ExPropertyGetIntRange(WIDTH_PROPERTY_TYPE, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(Story(Rig::Of({"read", "log"})), R"(
read Width.Min=16
read Width.Max=64
read Width.Inc=4
log3 kv_td_excam:ExPropertyGetIntRange: ### get property 2 (Width) range: min=16 max=64 inc=4 ###
)");
    Rig::Clear();
    sim::SetFeatureText("S0000001", "OffsetX", "16"); // now Width.Max is 48
    cam.nodeMap = nullptr;
    EXPECT_EQ(cam.ExPropertyGetIntRange(WIDTH_PROPERTY_TYPE, &min, &max, &inc), 0);
    EXPECT_THAT((std::vector{min, max, inc}), ElementsAre(16, 64, 4));
    EXPECT_THAT(Rig::Of({"read", "log"}), IsEmpty());
}

struct RangeCase {
    const char* name;
    PropertyType type;
    float min;
    float max;
    std::vector<std::string> writes;
    const char* log;
};

class FloatRange : public testing::TestWithParam<RangeCase>
{
};

TEST_P(FloatRange, IsReadOnceWithItsPreparations)
{
    const RangeCase& c = GetParam();
    Rig rig(SmallCamera(sim::Model::Color));
    CExCam& cam = rig.Open();
    float min = 0;
    float max = 0;
    EXPECT_EQ(cam.ExPropertyGetFloatRange(c.type, &min, &max), 0);
    EXPECT_NEAR(min, c.min, 1e-3);
    EXPECT_NEAR(max, c.max, 1e-3);
    EXPECT_THAT(Rig::Of("cam"), ElementsAreArray(c.writes));
    EXPECT_THAT(Rig::Logs(), ElementsAre("3 ExPropertyGetFloatRange: ### get property " +
                                         std::string(c.log) + " ###"));
    Rig::Clear();
    EXPECT_EQ(cam.ExPropertyGetFloatRange(c.type, nullptr, &max), 0);
    EXPECT_THAT(Rig::Of({"cam", "read", "log"}), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FloatRange,
    testing::Values(RangeCase{"Gain",
                              GAIN_PROPERTY_TYPE,
                              0,
                              18.0618F,
                              {"GainSelector=SensorAll"},
                              "6 (Gain) range: min=0.000000 max=18.061800"},
                    RangeCase{"Red",
                              BALANCE_RATIO_RED_PROPERTY_TYPE,
                              -12.0412F,
                              12.0412F,
                              {"BalanceRatioSelector=Red"},
                              "20 (BalanceRatio) range: min=-12.041201 max=12.041201"},
                    RangeCase{"Blue",
                              BALANCE_RATIO_BLUE_PROPERTY_TYPE,
                              -12.0412F,
                              12.0412F,
                              {"BalanceRatioSelector=Blue"},
                              "21 (BalanceRatio) range: min=-12.041201 max=12.041201"},
                    RangeCase{"ExposureAutoMin",
                              EXPOSURE_AUTO_MIN_PROPERTY_TYPE,
                              10,
                              2e6F,
                              {"autoBrightnessMode=Active", "autoBrightnessMode=Off"},
                              "11 (exposureAutoMinValue) range: min=10.000000 max=2000000.000000"},
                    RangeCase{"ExposureAutoMax",
                              EXPOSURE_AUTO_MAX_PROPERTY_TYPE,
                              10,
                              2e6F,
                              {"autoBrightnessMode=Active", "autoBrightnessMode=Off"},
                              "12 (exposureAutoMaxValue) range: min=10.000000 max=2000000.000000"},
                    RangeCase{"GainAutoMin",
                              GAIN_AUTO_MIN_PROPERTY_TYPE,
                              0,
                              18.0618F,
                              {"autoBrightnessMode=Active", "gainAutoSource=SensorAll",
                               "autoBrightnessMode=Off"},
                              "13 (gainAutoMinValue) range: min=0.000000 max=18.061800"},
                    RangeCase{"GainAutoMax",
                              GAIN_AUTO_MAX_PROPERTY_TYPE,
                              0,
                              18.0618F,
                              {"autoBrightnessMode=Active", "gainAutoSource=SensorAll",
                               "autoBrightnessMode=Off"},
                              "14 (gainAutoMaxValue) range: min=0.000000 max=18.061800"},
                    RangeCase{"Exposure",
                              EXPOSURE_TIME_PROPERTY_TYPE,
                              10,
                              2e6F,
                              {},
                              "7 (ExposureTime) range: min=10.000000 max=2000000.000000"}),
    [](const auto& it) { return std::string(it.param.name); });

TEST(Ranges, BracketIsLeftOutInActiveModeAndClosedAfterAMissingFeature)
{
    sim::CameraSetup setup = SmallCamera();
    setup.missing = {"gainAutoMaxValue", "gainAutoSource"};
    Rig rig(setup);
    CExCam& cam = rig.Open();
    EXPECT_EQ(cam.ExPropertyGetFloatRange(GAIN_AUTO_MAX_PROPERTY_TYPE, nullptr, nullptr), -2);
    EXPECT_THAT(Rig::Of("cam"), ElementsAre("autoBrightnessMode=Active", "autoBrightnessMode=Off"));
    EXPECT_FALSE(cam.propEntries[GAIN_AUTO_MAX_PROPERTY_TYPE].floatRangeCached);
    sim::SetFeatureText("S0000001", "autoBrightnessMode", "Active");
    Rig::Clear();
    EXPECT_EQ(cam.ExPropertyGetFloatRange(GAIN_AUTO_MIN_PROPERTY_TYPE, nullptr, nullptr), 0);
    EXPECT_THAT(Rig::Of("cam"), IsEmpty());
}

TEST(Ranges, FailedReadIsNotCached)
{
    Rig rig;
    CExCam& cam = rig.Open();
    sim::AddFault(AccessThrows(sim::Trigger::Read, "Width", sim::ExceptionKind::Timeout, 2));
    EXPECT_THROW(cam.ExPropertyGetIntRange(WIDTH_PROPERTY_TYPE, nullptr, nullptr, nullptr),
                 GenICam::TimeoutException);
    int max = 0;
    EXPECT_EQ(cam.ExPropertyGetIntRange(WIDTH_PROPERTY_TYPE, nullptr, &max, nullptr), 0);
    EXPECT_EQ(max, 64);
}
