/** Gain, exposure, frame rate, white balance and rotation. */
#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

using namespace KvTd;
using namespace rig;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

TEST(ManGain, ReadBackCounts)
{
    Rig rig;
    rig.Open();
    rig.host.gainMan = 3.2F;
    rig.proc.ProcParametrizeCamManGain(&rig.Cam());
    EXPECT_EQ(Rig::Logs().back(), "3 ProcParametrizeCamManGain:   new Gain val is 3.200001");
    EXPECT_GT(rig.proc.gainCur, 3.2F);
}

TEST(Values, EndsOfARangeInDbCanBeWritten)
{
    Rig rig(SmallCamera(sim::Model::Color));
    CExCam& cam = rig.Open();
    // A ratio of 4 comes back from dB as 4.0000005; the gain's 8 happens to be exact.
    for (const auto& [type, feature, lowest, highest] :
         {std::tuple(GAIN_PROPERTY_TYPE, "Gain", "1", "8"),
          std::tuple(BALANCE_RATIO_RED_PROPERTY_TYPE, "BalanceRatio", "0.25", "4")}) {
        float min = 0;
        float max = 0;
        EXPECT_EQ(cam.ExPropertyGetFloatRange(type, &min, &max), 0);
        EXPECT_EQ(cam.ExPropertySetFloat(type, max), 0);
        EXPECT_EQ(Rig::Feature(feature), highest);
        EXPECT_EQ(cam.ExPropertySetFloat(type, min), 0);
        EXPECT_EQ(Rig::Feature(feature), lowest);
    }
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

struct ValueCase {
    void (*run)(Rig& rig, float asked);
    float CCamProc::*kept;
    PropertyType type;
    const char* feature;
    std::string title; ///< as the lines call it
    float unset;       ///< no number: nothing counts as unset
};

/** The three float handlers are alike; what differs is in the table. */
TEST(Values, AreRefusedOutsideTheRangeOnly)
{
    const ValueCase cases[] = {
        {[](Rig& rig, float asked) {
             rig.host.gainMan = asked;
             rig.proc.ProcParametrizeCamManGain(&rig.Cam());
         },
         &CCamProc::gainCur, GAIN_PROPERTY_TYPE, "Gain", "Gain", -100},
        {[](Rig& rig, float asked) {
             rig.host.exptMan = asked;
             rig.proc.ProcParametrizeCamManExpo(&rig.Cam());
         },
         &CCamProc::exposureCur, EXPOSURE_TIME_PROPERTY_TYPE, "ExposureTime", "ExpoTime", -1},
        {[](Rig& rig, float asked) {
             rig.host.fps = asked;
             const float before = rig.proc.fps;
             const bool set = rig.proc.ProcParametrizeCamFps(&rig.Cam());
             EXPECT_EQ(set, rig.proc.fps != before);
         },
         &CCamProc::fps, FRAME_RATE_PROPERTY_TYPE, "AcquisitionFrameRate", "Fps", std::nanf("")}};
    for (const ValueCase& c : cases) {
        SCOPED_TRACE(c.title);
        const auto lines = [&](std::size_t skipped, std::size_t refused, std::size_t set) {
            const Texts logs = Rig::Logs();
            EXPECT_EQ(Count(logs, "  " + c.title + " config is skipped"), skipped);
            EXPECT_EQ(Count(logs, ":   asked " + c.title + " val "), refused);
            EXPECT_EQ(Count(logs, ":   new "), set);
            Rig::Clear();
        };
        Rig rig;
        PropertyEntry& row = rig.Open().propEntries[c.type];
        row.floatMin = 11; // narrower than the camera's
        row.floatMax = 12;
        row.floatRangeCached = true;
        rig.proc.*c.kept = 7;
        const std::string before = Rig::Feature(c.feature);
        for (const float asked :
             {std::nextafter(11.0F, 0.0F), std::nextafter(12.0F, 13.0F), -99.9F, std::nanf("")}) {
            c.run(rig, asked);
            EXPECT_THAT(Rig::Of("log2"),
                        ElementsAre(EndsWith(std::to_string(asked) +
                                             " is out of bounds [11.000000, 12.000000], skipped")));
            lines(0, 1, 0);
        }
        c.run(rig, c.unset);
        lines(std::isnan(c.unset) ? 0 : 1, std::isnan(c.unset) ? 1 : 0, 0);
        EXPECT_EQ(rig.proc.*c.kept, 7);
        EXPECT_EQ(Rig::Feature(c.feature), before);
        for (const float bound : {11.0F, 12.0F}) {
            c.run(rig, bound);
            lines(0, 0, 1);
            EXPECT_FLOAT_EQ(rig.proc.*c.kept, bound);
        }
        // Without the feature nothing but 0 is in range, which then can't be written.
        Rig without(Lacking({c.feature}));
        without.Open();
        c.run(without, 11);
        lines(0, 1, 0);
        c.run(without, 0);
        lines(0, 0, 0);
        Rig refusing;
        refusing.Open();
        sim::AddFault(AccessThrows(sim::Trigger::Write, c.feature));
        EXPECT_THROW(c.run(refusing, 11), GenICam::RuntimeException);
        EXPECT_EQ(refusing.proc.*c.kept, 0);
    }
}

class WbRig : public Rig
{
public:
    explicit WbRig(const sim::CameraSetup& setup = SmallCamera(sim::Model::Color)) : Rig(setup)
    {
        Open();
    }
    void Apply(int red, int blue, bool anew = true)
    {
        if (anew) {
            Clear();
        }
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
    EXPECT_THAT(Rig::Logs().back(), EndsWith("Red 150, Blue 300"));
    rig.Apply(100, kIntUnset);
    EXPECT_THAT(Rig::Logs("ExPropertySetFloat").size(), 1U);
    EXPECT_THAT(Rig::Logs().back(), EndsWith("Red 100, Blue 300"));
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
        rig.proc.wbBlue = 6;
        rig.Apply(100, beyond);
        EXPECT_EQ(rig.proc.wbRed, 100) << "is set before";
        EXPECT_EQ(Rig::Logs().back(), "2 ProcParametrizeCamWB:   asked WhiteBalance Blue val " +
                                          std::to_string(beyond) +
                                          " is out of bounds [-1204, 1204], skipped");
        rig.Apply(beyond, 100);
        EXPECT_THAT(Rig::Of("cam"),
                    ElementsAre("BalanceWhiteAuto=Off", "balanceRatioReference=Green"))
            << "these are written, but no ratio, not even blue's";
        EXPECT_EQ(Rig::Logs().back(), "2 ProcParametrizeCamWB:   asked WhiteBalance Red val " +
                                          std::to_string(beyond) +
                                          " is out of bounds [-1204, 1204], skipped");
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
    rig.Apply(kIntUnset, kIntUnset, false);
    EXPECT_EQ(Story(Rig::Of({"log3", "cam"})), R"(
log3 kv_td_proc:ProcParametrizeCamWB: WhiteBalance settings handler entry vals: Red -1, Blue -1
log3 kv_td_proc:ProcParametrizeCamWB: Applying Auto white balancing
cam BalanceWhiteAuto=Periodic
log3 kv_td_proc:ProcParametrizeCamWB: WhiteBalance settings handler entry vals: Red -1, Blue -1
log3 kv_td_proc:ProcParametrizeCamWB:   WhiteBalance config is skipped
)");
}

TEST(WhiteBalance, FailedWritesKeepTheRatios)
{
    WbRig rig(Lacking({"BalanceRatio"}, sim::Model::Color)); // so the range is 0 to 0
    rig.Apply(0, 0);
    EXPECT_THAT(Rig::Of("log2"), IsEmpty());
    rig.proc.wbRed = 5;
    rig.proc.wbBlue = 6;
    rig.Apply(0, 0);
    EXPECT_THAT(Rig::Logs().back(), EndsWith("new WhiteBalance vals are: Red 5, Blue 6"));
    rig.Apply(1, 0);
    EXPECT_THAT(Rig::Logs().back(), EndsWith("Red val 1 is out of bounds [0, 0], skipped"));
}

TEST(Rotate, TwoTurnsAndEverythingElseIsUpright)
{
    Rig rig;
    rig.Open();
    const auto apply = [&](int code) {
        Rig::Clear();
        rig.host.rotate = code;
        rig.proc.ProcParametrizeCamRotate(&rig.Cam());
    };
    apply(2);
    EXPECT_THAT(Rig::Of("cam"), ElementsAre("ReverseX=true", "ReverseY=true"));
    apply(0);
    EXPECT_EQ(Rig::Logs().back(), "3 ProcParametrizeCamRotate:   Rotate config is skipped");
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
