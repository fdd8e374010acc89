/** Which automatic controls are switched, and the transfer that stops for it. */
#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

/** Without the master switch each selector shows what was asked of it. */
class AutoRig : public Rig
{
public:
    explicit AutoRig(const sim::CameraSetup& setup = Lacking({"autoBrightnessMode"})) : Rig(setup)
    {
        Open();
    }
    Texts Apply(std::uint32_t profile, std::uint32_t gain, std::uint32_t etime,
                bool dynamic = false, bool* stopped = nullptr)
    {
        Clear();
        proc.ProcParametrizeCamAutoFunc(&Cam(), profile, gain, etime, dynamic, stopped);
        return Of({"cam", "gev"});
    }
};

constexpr const char* kParams = "3 ProcParametrizeCamAutoFuncParams: AutoFunc params handler entry";

} // namespace

TEST(AutoFunc, ModesDecide)
{
    struct Case {
        std::uint32_t profile;
        std::uint32_t gain;
        std::uint32_t etime;
        Texts writes;
        const char* states; ///< gain and exposure afterwards
        std::size_t skipped;
        std::size_t parameters;
    };
    const std::string gain = "cam GainAuto=Continuous";
    const std::string etime = "cam ExposureAuto=Continuous";
    for (const Case& c : std::initializer_list<Case>{{0, 0, 0, {}, "00", 3, 0},
                                                     {0, 0, 2, {etime}, "02", 2, 1},
                                                     {0, 2, 0, {gain}, "20", 2, 1},
                                                     {0, 2, 1, {gain}, "21", 1, 1},
                                                     {2, 1, 2, {etime}, "12", 0, 1},
                                                     {2, 1, 1, {}, "11", 0, 0},
                                                     {2, 3, 7, {}, "00", 0, 0},
                                                     {2, 0, 0, {}, "00", 2, 0}}) {
        SCOPED_TRACE(testing::Message() << c.profile << c.gain << c.etime);
        AutoRig rig;
        EXPECT_EQ(rig.Apply(c.profile, c.gain, c.etime), c.writes);
        EXPECT_EQ(std::to_string(rig.proc.gainAutoState) + std::to_string(rig.proc.expoAutoState),
                  c.states);
        EXPECT_EQ(Count(Rig::Logs("ProcParametrizeCamAutoFunc"), " settings skipped for \""),
                  c.skipped);
        EXPECT_EQ(Count(Rig::Logs(), "AutoFunc settings handler entry"), c.skipped < 3 ? 1U : 0U);
        EXPECT_EQ(Count(Rig::Logs(), kParams), c.parameters);
        EXPECT_EQ(Count(Rig::Logs(), "Entry to manage"),
                  static_cast<std::size_t>((c.states[0] > '0') + (c.states[1] > '0')))
            << "the selectors are asked";
    }
}

TEST(AutoFunc, NoProfileSwitchesOff)
{
    AutoRig rig(SmallCamera());
    EXPECT_THAT(rig.Apply(1, 0, 0), ElementsAre("cam autoBrightnessMode=Active",
                                                "cam autoBrightnessSequence=Exposure_Gain_Iris"));
    EXPECT_THAT(rig.Apply(2, 0, 0), IsEmpty());
    EXPECT_EQ(Rig::Feature("autoBrightnessMode"), "Active");
    // Where the controls meet: switching one selector off switches off the master.
    EXPECT_THAT(rig.Apply(1, 2, 1),
                ElementsAre("cam autoBrightnessMode=Active", "cam GainAuto=Continuous",
                            "cam autoBrightnessMode=Off"));
}

TEST(AutoFunc, StopsOnlyForAChange)
{
    AutoRig rig;
    const std::string stop = "gev GevAbortTransfer()=0";
    const std::string start = "gev GevStartTransfer(-1)=0";
    rig.StartTransfer();
    EXPECT_THAT(rig.Apply(0, 2, 1, true), ElementsAre(stop, "cam GainAuto=Continuous", start));
    EXPECT_THAT(rig.Apply(0, 2, 1, true), IsEmpty()) << "it is so already";
    EXPECT_EQ(Count(Rig::Logs(), kParams), 1U) << "but limits are written each time";
    EXPECT_THAT(rig.Apply(1, 2, 0, true), IsEmpty()) << "neither profile nor what is unset counts";
    EXPECT_THAT(rig.Apply(0, 2, 2, false), ElementsAre("cam ExposureAuto=Continuous"));
    EXPECT_THAT(rig.Apply(1, 0, 2, true), IsEmpty());
    EXPECT_THAT(rig.Apply(0, 1, 2, true), ElementsAre(stop, "cam GainAuto=Off", start));
    for (int i = 0; i < 2; ++i) {
        EXPECT_THAT(rig.Apply(0, 1, 5, true), ElementsAre(stop, start)) << "never done with";
    }
}

TEST(AutoFuncParams, EachIsSkippedByItsLowEnd)
{
    AutoRig rig;
    FakeHost& host = rig.host;
    const auto apply = [&] {
        Rig::Clear();
        const int rc = rig.proc.ProcParametrizeCamAutoFuncParams(&rig.Cam());
        Texts told = Rig::Of({"cam", "log2", "log3"});
        std::erase_if(told, [](const std::string& text) {
            return text.starts_with("log3 kv_td_excam") || text.starts_with("cam gainAutoSource");
        });
        told.erase(told.begin()); // the entry line
        return std::to_string(rc) + Story(told);
    };
    host.gainlimsHigh = 14;
    host.etlimsHigh = 200;
    const std::string bright =
        "log3 kv_td_proc:ProcParametrizeCamAutoFuncParams:   skipped for \"Brightness\"\n";
    const std::string gain =
        "log3 kv_td_proc:ProcParametrizeCamAutoFuncParams:   skipped for \"GainLimits\"\n";
    const std::string etime =
        "log3 kv_td_proc:ProcParametrizeCamAutoFuncParams:   skipped for \"ExpTimeLimits\"\n";
    EXPECT_EQ(apply(), "0\n" + bright + gain + etime);
    host.atbright = 0.5F;
    EXPECT_EQ(apply(), "0\n" + gain + etime + "cam autoBrightnessTarget=128\n");
    host.atbright = kExposureUnset;
    host.gainlimsLow = 6;
    EXPECT_EQ(apply(), "0\n" + bright + etime + "cam gainAutoMinValue=1\ncam gainAutoMaxValue=5\n");
    host.etlimsLow = 100;
    host.gainlimsLow = kGainUnset;
    EXPECT_EQ(apply(), "0\n" + bright + gain +
                           "cam exposureAutoMinValue=100\ncam exposureAutoMaxValue=200\n");
    host.atbright = 1.5F; // each fails, and the next is tried
    host.gainlimsLow = 16;
    host.etlimsLow = 300;
    EXPECT_EQ(apply().substr(0, 3), "-5\n");
    EXPECT_EQ(Rig::Of("log2").size(), 3U);
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
    for (const Handler handler : {lut, gamma, gammaOff, autoFunc}) {
        AutoRig rig(SmallCamera());
        rig.proc.dataBits = 8;
        /** What happens to the transfer, with the writes to the modes between. */
        const auto story = [&](bool grabbing, bool* stopped) {
            Rig::Clear();
            handler(rig, grabbing, stopped);
            std::string letters;
            EXPECT_THAT(Rig::Of("log1"), IsEmpty());
            for (const std::string& text : Rig::Of({"gev", "cam"})) {
                const bool write = text.starts_with("cam ");
                const char letter = write ? 'w' : text[7] == 'A' ? 'S' : 'G';
                if (letters.empty() || letters.back() != letter) {
                    letters += letter;
                }
            }
            return letters;
        };
        bool running = false;
        bool stopped = true;
        handler(rig, false, nullptr); // so that the range of gamma is known
        EXPECT_EQ(story(false, nullptr), "w");
        EXPECT_EQ(story(false, &running), "w");
        EXPECT_FALSE(running);
        EXPECT_EQ(story(true, &stopped), "w");
        rig.StartTransfer();
        EXPECT_EQ(story(true, nullptr), "SwG");
        EXPECT_EQ(story(true, &running), "Sw");
        EXPECT_TRUE(running && stopped);
    }
}
