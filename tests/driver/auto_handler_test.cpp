/** Which automatic controls are switched, and the transfer that stops for it. */
#include "rig.h"

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
        Texts skipped;
        bool parameters;
    };
    const std::string profile = "AutoFunc settings skipped for \"Profile\"";
    const std::string gain = "AutoFunc settings skipped for \"GainMode\"";
    const std::string etime = "Autofunc settings skipped for \"ExpTimeMode\"";
    for (const Case& c : std::initializer_list<Case>{
             {0, 0, 0, {}, "00", {profile, gain, etime}, false},
             {0, 0, 2, {"ExposureAuto=Continuous"}, "02", {profile, gain}, true},
             {0, 2, 0, {"GainAuto=Continuous"}, "20", {profile, etime}, true},
             {0, 2, 1, {"GainAuto=Continuous"}, "21", {profile}, true},
             {2, 1, 2, {"ExposureAuto=Continuous"}, "12", {}, true},
             {2, 1, 1, {}, "11", {}, false},
             {2, 3, 7, {}, "00", {}, false},
             {2, 0, 0, {}, "00", {gain, etime}, false},
         }) {
        SCOPED_TRACE(testing::Message() << c.profile << c.gain << c.etime);
        AutoRig rig;
        EXPECT_EQ(Story(rig.Apply(c.profile, c.gain, c.etime)), Story([&] {
                      Texts writes = c.writes;
                      for (std::string& text : writes) {
                          text.insert(0, "cam ");
                      }
                      return writes;
                  }()));
        EXPECT_EQ(std::to_string(rig.proc.gainAutoState) + std::to_string(rig.proc.expoAutoState),
                  c.states);
        Texts lines;
        for (const std::string& text : c.skipped) {
            lines.push_back("3 ProcParametrizeCamAutoFunc:   " + text);
        }
        if (c.skipped.size() < 3) {
            lines.push_back("3 ProcParametrizeCamAutoFunc: AutoFunc settings handler entry vals: "
                            "prof " +
                            std::to_string(c.profile) + ", gainm " + std::to_string(c.gain) +
                            ", etimem " + std::to_string(c.etime));
        }
        EXPECT_EQ(Rig::Logs("ProcParametrizeCamAutoFunc"), lines);
        EXPECT_EQ(Count(Rig::Logs(), kParams), c.parameters ? 1U : 0U);
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
    EXPECT_THAT(rig.Apply(0, 1, 2, true), ElementsAre(stop, "cam GainAuto=Off", start));
    for (int i = 0; i < 2; ++i) {
        EXPECT_THAT(rig.Apply(0, 1, 5, true), ElementsAre(stop, start)) << "never done with";
    }
}

TEST(AutoFuncParams, UnsetOnesAreSkipped)
{
    const std::string bright = "autoBrightnessTarget=128";
    const std::string gainMin = "gainAutoMinValue=1";
    const std::string gainMax = "gainAutoMaxValue=5";
    const std::string etMin = "exposureAutoMinValue=100";
    const std::string etMax = "exposureAutoMaxValue=200";
    for (unsigned mask = 0; mask < 8; ++mask) {
        SCOPED_TRACE(mask);
        AutoRig rig;
        Texts writes;
        Texts lines;
        rig.host.gainlimsHigh = 14; // the low end alone decides
        rig.host.etlimsHigh = 200;
        if ((mask & 1) != 0) {
            rig.host.atbright = 0.5F;
            writes.push_back(bright);
        } else {
            lines.emplace_back("3 ProcParametrizeCamAutoFuncParams:   skipped for \"Brightness\"");
        }
        if ((mask & 2) != 0) {
            rig.host.gainlimsLow = 6;
            writes.insert(writes.end(), {gainMin, gainMax});
        } else {
            lines.emplace_back("3 ProcParametrizeCamAutoFuncParams:   skipped for \"GainLimits\"");
        }
        if ((mask & 4) != 0) {
            rig.host.etlimsLow = 100;
            writes.insert(writes.end(), {etMin, etMax});
        } else {
            lines.emplace_back(
                "3 ProcParametrizeCamAutoFuncParams:   skipped for \"ExpTimeLimits\"");
        }
        EXPECT_EQ(rig.proc.ProcParametrizeCamAutoFuncParams(&rig.Cam()), 0);
        Texts told = Rig::Of("cam");
        std::erase(told, "gainAutoSource=SensorAll");
        EXPECT_EQ(told, writes);
        Texts logs = Rig::Logs("ProcParametrizeCamAutoFuncParams");
        EXPECT_THAT(logs.front(), StartsWith(kParams));
        logs.erase(logs.begin());
        EXPECT_EQ(logs, lines);
    }
}

TEST(AutoFuncParams, OneFailureDoesNotStopTheOthers)
{
    AutoRig rig;
    rig.host.atbright = 1.5F;
    rig.host.gainlimsLow = 6;
    rig.host.gainlimsHigh = 5;
    rig.host.etlimsLow = 100;
    rig.host.etlimsHigh = 3e6F;
    EXPECT_EQ(rig.proc.ProcParametrizeCamAutoFuncParams(&rig.Cam()), -7) << "of the last one";
    EXPECT_EQ(Rig::Of("log2").size(), 3U);
    rig.host.etlimsLow = kExposureUnset;
    EXPECT_EQ(rig.proc.ProcParametrizeCamAutoFuncParams(&rig.Cam()), -5);
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
