/** Gain, exposure, frame rate, white balance and rotation. */
#include "tests/driver/transcript.h"
#include "tests/driver/words.h"
#include "tests/support/rig.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

using namespace KvTd;
using namespace rig;

TEST(Values, EndsOfARangeInDbCanBeWritten)
{
    Transcript story("values_in_db", {"cam"});
    Rig rig(SmallCamera(sim::Model::Color));
    CExCam& cam = rig.Open();
    // A ratio of 4 comes back from dB as 4.0000005; the gain's 8 happens to be exact.
    for (const PropertyType type : {GAIN_PROPERTY_TYPE, BALANCE_RATIO_RED_PROPERTY_TYPE}) {
        float min = 0;
        float max = 0;
        CALL(story, cam.ExPropertyGetFloatRange(type, &min, &max));
        CALL(story, cam.ExPropertySetFloat(type, max));
        CALL(story, cam.ExPropertySetFloat(type, min));
    }
}

struct ValueCase {
    const char* feature;
    PropertyType type;
    float FakeHost::*asked;
    float CCamProc::*kept;
    void (*apply)(Rig& rig);
};

/** The three float handlers are alike; what differs is in the table. */
TEST(Values, AreRefusedOutsideTheRangeOnly)
{
    Transcript story("values", {"cam", "log2", "log3"});
    const ValueCase cases[] = {{"Gain", GAIN_PROPERTY_TYPE, &FakeHost::gainMan, &CCamProc::gainCur,
                                [](Rig& rig) { rig.proc.ProcParametrizeCamManGain(&rig.Cam()); }},
                               {"ExposureTime", EXPOSURE_TIME_PROPERTY_TYPE, &FakeHost::exptMan,
                                &CCamProc::exposureCur,
                                [](Rig& rig) { rig.proc.ProcParametrizeCamManExpo(&rig.Cam()); }},
                               {"AcquisitionFrameRate", FRAME_RATE_PROPERTY_TYPE, &FakeHost::fps,
                                &CCamProc::fps, [](Rig& rig) {
                                    const float before = rig.proc.fps;
                                    const bool set = rig.proc.ProcParametrizeCamFps(&rig.Cam());
                                    EXPECT_EQ(set, rig.proc.fps != before);
                                }}};
    for (const ValueCase& c : cases) {
        const auto ask = [&](Rig& rig, std::initializer_list<float> values) {
            story.state = [&] { return Words("kept", rig.proc.*c.kept); };
            for (const float asked : values) {
                rig.host.*c.asked = asked;
                story.Call(Words(c.feature, asked), [&] { c.apply(rig); });
            }
        };
        Rig rig;
        PropertyEntry& row = rig.Open().propEntries[c.type];
        std::tie(row.floatMin, row.floatMax) =
            std::pair(11.0F, 12.0F); // narrower than the camera's
        row.floatRangeCached = true;
        rig.proc.*c.kept = 7;
        ask(rig, {std::nextafter(11.0F, 0.0F), std::nextafter(12.0F, 13.0F), -99.9F, kGainUnset,
                  kExposureUnset, std::nanf(""), 11, 12});
        // Without the feature nothing but 0 is in range, which then can't be written.
        Rig without(Lacking({c.feature}));
        without.Open();
        ask(without, {11, 0});
        Rig refusing;
        refusing.Open();
        sim::AddFault(AccessThrows(sim::Trigger::Write, c.feature));
        ask(refusing, {11});
    }
}

class WbStory : public Transcript, public Rig
{
public:
    explicit WbStory(const char* name,
                     const sim::CameraSetup& setup = SmallCamera(sim::Model::Color))
        : Transcript(name, {"log", "cam"}), Rig(setup)
    {
        Open();
        state = [&] { return Words(proc.wbRed, proc.wbBlue); };
    }
    void Apply(int red, int blue)
    {
        host.wbred = red;
        host.wbblu = blue;
        Call(Words("red", red, "blue", blue), [&] { proc.ProcParametrizeCamWB(&Cam()); });
    }
};

TEST(WhiteBalance, BlueGetsRedsValue)
{
    WbStory story("wb_blue");
    story.Apply(150, 200);
    story.Apply(kIntUnset, 300); // red's value, though it is none
    story.Apply(100, kIntUnset);
}

TEST(WhiteBalance, RedsRangeInDbServesBoth)
{
    WbStory story("wb_range");
    PropertyEntry& blueRow = story.Cam().propEntries[BALANCE_RATIO_BLUE_PROPERTY_TYPE];
    blueRow.floatRangeCached = true; // 0 to 0, and never asked
    story.Apply(1204, -1204);
    for (const int beyond : {1205, -1205}) {
        story.Apply(100, beyond); // red is set before
        story.Apply(beyond, 100); // no ratio is written, not even blue's
    }
}

TEST(WhiteBalance, AutomaticIsSwitchedOnOnce)
{
    WbStory story("wb_automatic");
    story.proc.wbBlue = kIntUnset; // one alone doesn't count
    story.Apply(kIntUnset, kIntUnset);
    story.Apply(kIntUnset, kIntUnset);
}

TEST(WhiteBalance, FailedWritesKeepTheRatios)
{
    WbStory story("wb_failures", Lacking({"BalanceRatio"}, sim::Model::Color)); // range 0 to 0
    story.proc.wbRed = 5;
    story.proc.wbBlue = 6;
    story.Apply(0, 0);
    story.Apply(1, 0);
}

TEST(Rotate, TwoTurnsAndEverythingElseIsUpright)
{
    Transcript story("rotate", {"log", "cam"});
    const auto apply = [&](Rig& rig, int code) {
        rig.host.rotate = code;
        story.state = [&] { return Words("turned", +rig.proc.rotateState); };
        story.Call(Words(code), [&] { rig.proc.ProcParametrizeCamRotate(&rig.Cam()); });
    };
    Rig rig;
    rig.Open();
    for (const int code : {2, 0, 2, 5, 1, -1}) {
        apply(rig, code);
    }
    Rig lacking(Lacking({"ReverseX"}));
    lacking.Open();
    apply(lacking, 2); // failures don't count
}
