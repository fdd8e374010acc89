/** Which automatic functions are switched, and stopping the transfer for it. */
#include "tests/driver/transcript.h"
#include "tests/driver/words.h"
#include "tests/support/rig.h"

#include <gtest/gtest.h>

#include <array>

using namespace KvTd;
using namespace rig;

namespace
{

/** Without the master switch each selector shows what was asked of it. */
class AutoStory : public Transcript, public Rig
{
public:
    explicit AutoStory(const char* name,
                       const sim::CameraSetup& setup = Lacking({"autoBrightnessMode"}))
        : Transcript(name, {"log", "cam", "gev"}), Rig(setup)
    {
        Open();
        state = [&] { return Words(proc.gainAutoState, proc.expoAutoState); };
    }
    void Apply(std::uint32_t profile, std::uint32_t gain, std::uint32_t etime, bool dynamic = false)
    {
        Call(
            Words("profile", profile, "gain", gain, "etime", etime, dynamic ? "dynamic" : "static"),
            [&] {
                proc.ProcParametrizeCamAutoFunc(&Cam(), profile, gain, etime, dynamic, nullptr);
            });
    }
};

} // namespace

TEST(AutoFunc, ModesDecide)
{
    AutoStory story("auto_func_modes");
    for (const auto& [profile, gain, etime] :
         std::initializer_list<std::array<std::uint32_t, 3>>{{0, 0, 0},
                                                             {0, 0, 2},
                                                             {0, 2, 0},
                                                             {0, 2, 1},
                                                             {2, 1, 2},
                                                             {2, 1, 1},
                                                             {2, 3, 7},
                                                             {2, 0, 0}}) {
        story.proc.gainAutoState = story.proc.expoAutoState = 0;
        Rig::SetFeature("GainAuto", "Off");
        Rig::SetFeature("ExposureAuto", "Off");
        story.Apply(profile, gain, etime);
    }
}

TEST(AutoFunc, NoProfileSwitchesOff)
{
    AutoStory story("auto_func_profiles", SmallCamera());
    story.Apply(1, 0, 0);
    story.Apply(2, 0, 0);
    EXPECT_EQ(Rig::Feature("autoBrightnessMode"), "Active");
    story.Apply(1, 2, 1); // the controls meet: switching a selector off switches off the master
}

TEST(AutoFunc, StopsOnlyForAChange)
{
    AutoStory story("auto_func_changes");
    story.StartTransfer();
    story.Apply(0, 2, 1, true);
    story.Apply(0, 2, 1, true); // it is so already, but limits are written each time
    story.Apply(1, 2, 0, true); // neither profile nor what is unset counts
    story.Apply(0, 2, 2, false);
    story.Apply(1, 0, 2, true);
    story.Apply(0, 1, 2, true);
    story.Apply(0, 1, 5, true); // never done with
    story.Apply(0, 1, 5, true);
}

TEST(AutoFuncParams, EachIsSkippedByItsLowEnd)
{
    AutoStory story("auto_func_params");
    story.host.gainlimsHigh = 14;
    story.host.etlimsHigh = 200;
    for (const auto& [bright, gain, etime] : std::initializer_list<std::array<float, 3>>{
             {kExposureUnset, kGainUnset, kExposureUnset},
             {0.5F, kGainUnset, kExposureUnset},
             {kExposureUnset, 6, kExposureUnset},
             {kExposureUnset, kGainUnset, 100},
             {1.5F, 16, 300}, // each fails, and the next is tried
         }) {
        story.host.atbright = bright;
        story.host.gainlimsLow = gain;
        story.host.etlimsLow = etime;
        CALL(story, story.proc.ProcParametrizeCamAutoFuncParams(&story.Cam()));
    }
}

/** The same bracket around what each handler writes. */
TEST(CaptureBracket, InItsThreeForms)
{
    using Handler = void (*)(Rig & rig, bool grabbing, bool* stopped);
    const Handler lut = [](Rig& rig, bool grabbing, bool* stopped) {
        rig.host.lut.resize(256);
        rig.proc.lastLutData = nullptr;
        EXPECT_EQ(rig.proc.ProcParametrizeCamManLUT(&rig.Cam(), false, grabbing, stopped), 2);
    };
    const Handler gamma = [](Rig& rig, bool grabbing, bool* stopped) {
        rig.host.gamma = 2;
        EXPECT_EQ(rig.proc.ProcParametrizeCamGamma(&rig.Cam(), grabbing, 0, stopped), 4);
    };
    const Handler gammaOff = [](Rig& rig, bool grabbing, bool* stopped) {
        rig.host.gamma = kGammaUnset;
        EXPECT_EQ(rig.proc.ProcParametrizeCamGamma(&rig.Cam(), grabbing, 1, stopped), 1);
    };
    const Handler autoFunc = [](Rig& rig, bool grabbing, bool* stopped) {
        rig.proc.gainAutoState = 0;
        rig.proc.ProcParametrizeCamAutoFunc(&rig.Cam(), 1, 1, 0, grabbing, stopped);
    };
    Transcript story("capture_brackets", {"gev", "cam", "log1"});
    for (const Handler handler : {lut, gamma, gammaOff, autoFunc}) {
        Rig rig;
        rig.Open();
        rig.proc.dataBits = 8;
        bool running = false; // shared by the handlers: nobody has stopped the transfer,
        bool stopped = true;  // or somebody did
        story.state = [&] {
            return Words("stopped by the handler", running, "before it", stopped);
        };
        handler(rig, false, nullptr); // so that the range of gamma is known
        CALL(story, handler(rig, false, nullptr));
        CALL(story, handler(rig, false, &running));
        CALL(story, handler(rig, true, &stopped));
        rig.StartTransfer();
        CALL(story, handler(rig, true, nullptr));
        CALL(story, handler(rig, true, &running));
    }
}
