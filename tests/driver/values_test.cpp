/** Gain, exposure, frame rate, white balance and rotation. */
#include "rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

using namespace KvTd;
using namespace rig;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

/** Lines and camera writes of a handler. */
std::string Told()
{
    return Story(Rig::Of({"log", "cam"}));
}

sim::CameraSetup ReadOnly(const char* feature)
{
    sim::CameraSetup setup = SmallCamera();
    setup.readOnly = {feature};
    return setup;
}

} // namespace

TEST(ManGain, ReadBackCounts)
{
    Rig rig;
    rig.Open();
    rig.host.gainMan = 3.2F;
    rig.proc.ProcParametrizeCamManGain(&rig.Cam());
    EXPECT_EQ(Rig::Logs().back(), "3 ProcParametrizeCamManGain:   new Gain val is 3.200001");
    EXPECT_GT(rig.proc.gainCur, 3.2F);
}

TEST(ManExpo, IsKeptInWholeMicrosecondsToo)
{
    Rig rig;
    rig.Open();
    rig.host.exptMan = 2500.75F;
    rig.proc.ProcParametrizeCamManExpo(&rig.Cam());
    EXPECT_EQ(rig.proc.exposureCur, 2500.75F);
    EXPECT_EQ(rig.proc.exposureCurInt, 2500);
    EXPECT_EQ(Rig::Logs().back(),
              "3 ProcParametrizeCamManExpo:   new ExpoTime val is 2500.750000 (2500)us");
}

TEST(Fps, UnsetIsRefusedNotSkipped)
{
    Rig rig;
    EXPECT_FALSE(rig.proc.ProcParametrizeCamFps(&rig.Open()));
    EXPECT_THAT(Rig::Logs("ProcParametrizeCamFps"),
                ElementsAre(testing::_, testing::_,
                            testing::StartsWith("2 ProcParametrizeCamFps:   asked Fps val "
                                                "-1.000000 is out of bounds [0.100000, ")));
    EXPECT_EQ(rig.proc.fps, 0);
    EXPECT_THAT(Rig::Of("cam"), IsEmpty());
}

/** The three float handlers are alike; what differs is in the table. */
struct ValueCase {
    const char* name;
    void (*run)(Rig& rig, float asked);
    float CCamProc::*kept;
    PropertyType type;
    const char* feature;
    const char* function;
    const char* title; ///< as the lines call it
    float unset;       ///< no value when nothing counts as unset
};

class FloatValue : public testing::TestWithParam<ValueCase>
{
};

TEST_P(FloatValue, IsRefusedOutsideTheRangeOnly)
{
    const ValueCase& c = GetParam();
    const auto lines = [&](std::size_t skipped, std::size_t refused, std::size_t set) {
        const Texts logs = Rig::Logs(c.function);
        EXPECT_EQ(Count(logs, " config is skipped"), skipped);
        EXPECT_EQ(Count(logs, std::string("2 ") + c.function + ":   asked " + c.title), refused);
        EXPECT_EQ(Count(logs, "  new "), set);
        Rig::Clear();
    };
    Rig rig;
    CExCam& cam = rig.Open();
    cam.propEntries[c.type].floatMin = 20; // narrower than the camera's; the gain in dB
    cam.propEntries[c.type].floatMax = 30;
    cam.propEntries[c.type].floatRangeCached = true;
    if (c.type == GAIN_PROPERTY_TYPE) {
        cam.propEntries[c.type].floatMin = 2;
        cam.propEntries[c.type].floatMax = 12;
    }
    const float min = cam.propEntries[c.type].floatMin;
    const float max = cam.propEntries[c.type].floatMax;
    rig.proc.*c.kept = 7;
    const std::string before = Rig::Feature(c.feature);
    for (const float asked :
         {std::nextafter(min, 0.0F), std::nextafter(max, 1e9F), -99.9F, std::nanf("")}) {
        c.run(rig, asked);
        EXPECT_THAT(Rig::Logs(c.function),
                    testing::Contains(testing::HasSubstr(
                        "val " + std::to_string(asked) + " is out of bounds [" +
                        std::to_string(min) + ", " + std::to_string(max) + "], skipped")));
        lines(0, 1, 0);
        EXPECT_EQ(rig.proc.*c.kept, 7);
    }
    c.run(rig, c.unset);
    lines(std::isnan(c.unset) ? 0 : 1, std::isnan(c.unset) ? 1 : 0, 0);
    EXPECT_EQ(Rig::Feature(c.feature), before);
    for (const float bound : {min, max}) {
        c.run(rig, bound);
        lines(0, 0, 1);
        EXPECT_FLOAT_EQ(rig.proc.*c.kept, bound);
    }
    // Without the feature nothing but 0 is in range, which then can't be written.
    Rig without(Lacking({c.feature}));
    without.Open();
    c.run(without, 25);
    lines(0, 1, 0);
    c.run(without, 0);
    lines(0, 0, 0);
    EXPECT_EQ(without.proc.*c.kept, 0);
    Rig refusing(ReadOnly(c.feature));
    refusing.Open();
    EXPECT_THROW(c.run(refusing, 15), GenICam::AccessException);
}

INSTANTIATE_TEST_SUITE_P(
    Handlers, FloatValue,
    testing::Values(ValueCase{"Gain",
                              [](Rig& rig, float asked) {
                                  rig.host.gainMan = asked;
                                  rig.proc.ProcParametrizeCamManGain(&rig.Cam());
                              },
                              &CCamProc::gainCur, GAIN_PROPERTY_TYPE, "Gain",
                              "ProcParametrizeCamManGain", "Gain", -100},
                    ValueCase{"Exposure",
                              [](Rig& rig, float asked) {
                                  rig.host.exptMan = asked;
                                  rig.proc.ProcParametrizeCamManExpo(&rig.Cam());
                              },
                              &CCamProc::exposureCur, EXPOSURE_TIME_PROPERTY_TYPE, "ExposureTime",
                              "ProcParametrizeCamManExpo", "ExpoTime", -1},
                    ValueCase{"FrameRate",
                              [](Rig& rig, float asked) {
                                  rig.host.fps = asked;
                                  const float before = rig.proc.fps;
                                  const bool set = rig.proc.ProcParametrizeCamFps(&rig.Cam());
                                  EXPECT_EQ(set, rig.proc.fps != before);
                              },
                              &CCamProc::fps, FRAME_RATE_PROPERTY_TYPE, "AcquisitionFrameRate",
                              "ProcParametrizeCamFps", "Fps", std::nanf("")}),
    [](const auto& it) { return std::string(it.param.name); });

class WbRig : public Rig
{
public:
    explicit WbRig(const sim::CameraSetup& setup = SmallCamera(sim::Model::Color)) : Rig(setup)
    {
        Open();
    }
    void Apply(int red, int blue)
    {
        Clear();
        host.wbred = red;
        host.wbblu = blue;
        proc.ProcParametrizeCamWB(&Cam());
    }
};

TEST(WhiteBalance, BlueGetsRedsValue)
{
    WbRig rig;
    rig.Apply(150, 200);
    EXPECT_EQ(rig.proc.wbRed, 150);
    EXPECT_EQ(rig.proc.wbBlue, 200);
    rig.Apply(kIntUnset, 300);
    EXPECT_THAT(Rig::Logs("ExPropertySetFloat"),
                ElementsAre("3 ExPropertySetFloat: ### set property 21 (BalanceRatio) to "
                            "-0.010000 ###"))
        << "red's value, though it is none";
    EXPECT_THAT(Rig::Logs().back(), testing::EndsWith("Red 150, Blue 300"));
    rig.Apply(100, kIntUnset);
    EXPECT_THAT(Rig::Logs("ExPropertySetFloat").size(), 1U);
    EXPECT_THAT(Rig::Logs().back(), testing::EndsWith("Red 100, Blue 300"));
}

TEST(WhiteBalance, RedsRangeInDbServesBoth)
{
    WbRig rig;
    PropertyEntry& blueRow = rig.Cam().propEntries[BALANCE_RATIO_BLUE_PROPERTY_TYPE];
    blueRow.floatRangeCached = true; // 0 to 0, and never asked
    rig.Apply(1204, -1204);
    EXPECT_EQ(rig.proc.wbRed, 1204);
    EXPECT_EQ(rig.proc.wbBlue, -1204);
    for (const int beyond : {1205, -1205}) {
        rig.proc.wbRed = 5;
        rig.proc.wbBlue = 6;
        rig.Apply(100, beyond);
        EXPECT_EQ(rig.proc.wbRed, 100) << "is set before";
        EXPECT_EQ(rig.proc.wbBlue, 6);
        EXPECT_EQ(Rig::Logs().back(), "2 ProcParametrizeCamWB:   asked WhiteBalance Blue val " +
                                          std::to_string(beyond) +
                                          " is out of bounds [-1204, 1204], skipped");
        Rig::SetFeature("BalanceWhiteAuto", "Periodic");
        Rig::SetFeature("balanceRatioReference", "Blue");
        rig.Apply(beyond, 100);
        EXPECT_THAT(Rig::Of("cam"),
                    ElementsAre("BalanceWhiteAuto=Off", "balanceRatioReference=Green"))
            << "no ratio, not even blue's, but these are written";
        EXPECT_THAT(Rig::Of("log2"), ElementsAre("kv_td_proc:ProcParametrizeCamWB:   asked "
                                                 "WhiteBalance Red val " +
                                                 std::to_string(beyond) +
                                                 " is out of bounds [-1204, 1204], skipped"));
        EXPECT_EQ(rig.proc.wbRed, 100);
        EXPECT_EQ(rig.proc.wbBlue, 6);
    }
}

TEST(WhiteBalance, AutomaticIsSwitchedOnOnce)
{
    WbRig rig;
    rig.proc.wbBlue = kIntUnset; // one alone doesn't count
    rig.Apply(kIntUnset, kIntUnset);
    EXPECT_EQ(rig.proc.wbRed, kIntUnset);
    EXPECT_EQ(rig.proc.wbBlue, kIntUnset);
    EXPECT_EQ(Told(), R"(
log3 kv_td_proc:ProcParametrizeCamWB: WhiteBalance settings handler entry vals: Red -1, Blue -1
log3 kv_td_proc:ProcParametrizeCamWB: Applying Auto white balancing
cam BalanceWhiteAuto=Periodic
log4 kv_td_excam:ExPropertySetEnumFromStr: ### set enum param "BalanceWhiteAuto" to "Periodic"
)");
    rig.Apply(kIntUnset, kIntUnset);
    EXPECT_EQ(Told(), R"(
log3 kv_td_proc:ProcParametrizeCamWB: WhiteBalance settings handler entry vals: Red -1, Blue -1
log3 kv_td_proc:ProcParametrizeCamWB:   WhiteBalance config is skipped
)");
}

TEST(WhiteBalance, UnsetCacheAfterFailedWrites)
{
    WbRig rig(Lacking({"BalanceRatio"}, sim::Model::Color)); // so the range is 0 to 0
    rig.Apply(0, 0);
    EXPECT_THAT(Rig::Of("log2"), IsEmpty());
    rig.proc.wbRed = 5;
    rig.proc.wbBlue = 6;
    rig.Apply(0, 0);
    EXPECT_THAT(Rig::Logs().back(), testing::EndsWith("new WhiteBalance vals are: Red 5, Blue 6"));
    rig.Apply(1, 0);
    EXPECT_THAT(Rig::Logs().back(),
                testing::EndsWith("Red val 1 is out of bounds [0, 0], skipped"));
}

TEST(Rotate, TwoTurnsAndEverythingElseIsUpright)
{
    Rig rig;
    rig.Open();
    const auto apply = [&](int code) {
        Rig::Clear();
        rig.host.rotate = code;
        rig.proc.ProcParametrizeCamRotate(&rig.Cam());
        return Told();
    };
    EXPECT_EQ(apply(2), R"(
log3 kv_td_proc:ProcParametrizeCamRotate: Rotate settings handler entry val: Rotate 2
log3 kv_td_proc:ProcParametrizeCamRotate:   cur Rotate val is: 0
cam ReverseX=true
log3 kv_td_excam:ExPropertySetEna: ### set property 17 (ReverseX) to 1 ###
cam ReverseY=true
log3 kv_td_excam:ExPropertySetEna: ### set property 18 (ReverseY) to 1 ###
log3 kv_td_proc:ProcParametrizeCamRotate:   new Rotate val is: 1
)");
    EXPECT_EQ(apply(0), R"(
log3 kv_td_proc:ProcParametrizeCamRotate: Rotate settings handler entry val: Rotate 0
log3 kv_td_proc:ProcParametrizeCamRotate:   Rotate config is skipped
)");
    apply(2);
    EXPECT_THAT(Rig::Of("cam"), IsEmpty()) << "it is turned";
    for (const int code : {5, 1, -1}) {
        apply(code);
        EXPECT_THAT(Rig::Of("cam"), code == 5 ? ElementsAre("ReverseX=false", "ReverseY=false")
                                              : testing::Matcher<Texts>(IsEmpty()));
        EXPECT_EQ(Rig::Logs().back(), "3 ProcParametrizeCamRotate:   new Rotate val is: 0");
    }
    Rig lacking(Lacking({"ReverseX"}));
    lacking.host.rotate = 2;
    lacking.proc.ProcParametrizeCamRotate(&lacking.Open());
    EXPECT_THAT(Rig::Of("cam"), ElementsAre("ReverseY=true"));
    EXPECT_EQ(lacking.proc.rotateState, 1) << "failures don't count";
}
