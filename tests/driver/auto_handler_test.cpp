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
        Tell(
            Words("profile", profile, "gain", gain, "etime", etime, dynamic ? "dynamic" : "static"),
            [&] {
                proc.ProcParametrizeCamAutoFunc(&Cam(), profile, gain, etime, dynamic, nullptr);
            });
    }
};

} // namespace

TEST(AutoFunc, ModesDecide)
{
    AutoStory told("auto_func_modes");
    for (const auto& [profile, gain, etime] :
         std::initializer_list<std::array<std::uint32_t, 3>>{{0, 0, 0},
                                                             {0, 0, 2},
                                                             {0, 2, 0},
                                                             {0, 2, 1},
                                                             {2, 1, 2},
                                                             {2, 1, 1},
                                                             {2, 3, 7},
                                                             {2, 0, 0}}) {
        told.proc.gainAutoState = told.proc.expoAutoState = 0;
        Rig::SetFeature("GainAuto", "Off");
        Rig::SetFeature("ExposureAuto", "Off");
        told.Apply(profile, gain, etime);
    }
}

TEST(AutoFunc, NoProfileSwitchesOff)
{
    AutoStory told("auto_func_profiles", SmallCamera());
    told.Apply(1, 0, 0);
    told.Apply(2, 0, 0);
    EXPECT_EQ(Rig::Feature("autoBrightnessMode"), "Active");
    told.Apply(1, 2, 1); // the controls meet: switching a selector off switches off the master
}

TEST(AutoFunc, StopsOnlyForAChange)
{
    AutoStory told("auto_func_changes");
    told.StartTransfer();
    told.Apply(0, 2, 1, true);
    told.Apply(0, 2, 1, true); // it is so already, but limits are written each time
    told.Apply(1, 2, 0, true); // neither profile nor what is unset counts
    told.Apply(0, 2, 2, false);
    told.Apply(1, 0, 2, true);
    told.Apply(0, 1, 2, true);
    told.Apply(0, 1, 5, true); // never done with
    told.Apply(0, 1, 5, true);
}

TEST(AutoFuncParams, EachIsSkippedByItsLowEnd)
{
    AutoStory told("auto_func_params");
    told.host.gainlimsHigh = 14;
    told.host.etlimsHigh = 200;
    for (const auto& [bright, gain, etime] : std::initializer_list<std::array<float, 3>>{
             {kExposureUnset, kGainUnset, kExposureUnset},
             {0.5F, kGainUnset, kExposureUnset},
             {kExposureUnset, 6, kExposureUnset},
             {kExposureUnset, kGainUnset, 100},
             {1.5F, 16, 300}, // each fails, and the next is tried
         }) {
        told.host.atbright = bright;
        told.host.gainlimsLow = gain;
        told.host.etlimsLow = etime;
        TELL(told, told.proc.ProcParametrizeCamAutoFuncParams(&told.Cam()));
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
    Transcript told("capture_brackets", {"gev", "cam", "log1"});
    for (const Handler handler : {lut, gamma, gammaOff, autoFunc}) {
        Rig rig;
        rig.Open();
        rig.proc.dataBits = 8;
        bool running = false; // shared by the handlers: nobody has stopped the transfer,
        bool stopped = true;  // or somebody did
        told.state = [&] { return Words("stopped by the handler", running, "before it", stopped); };
        handler(rig, false, nullptr); // so that the range of gamma is known
        TELL(told, handler(rig, false, nullptr));
        TELL(told, handler(rig, false, &running));
        TELL(told, handler(rig, true, &stopped));
        rig.StartTransfer();
        TELL(told, handler(rig, true, nullptr));
        TELL(told, handler(rig, true, &running));
    }
}
