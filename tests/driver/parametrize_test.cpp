/** The order of all handlers, and the stopped transfer that they share. */
#include "tests/support/rig.h"
#include "tests/support/story.h"

#include <gtest/gtest.h>

#include <numeric>

using namespace KvTd;
using namespace rig;

/** Configures the camera, starts its transfer and says what a reconfiguration does. */
static Texts Reconfigure(Rig& rig, std::uint32_t format, void (*configure)(FakeHost& host),
                         bool initial)
{
    rig.host.format = format;
    std::uint32_t buffers = 2;
    rig.proc.ProcSetCamConfig(&rig.Open(), &buffers);
    rig.StartTransfer();
    configure(rig.host);
    Rig::Clear();
    EXPECT_EQ(rig.proc.ProcParametrizeCam(&rig.Cam(), true, initial), 0);
    Texts story = FoldTables(Rig::Of({"host", "log", "cam", "gev"}));
    std::erase_if(story, [](const auto& t) { return t.find("ProcParametrizeCam:") != t.npos; });
    return Masked(story);
}

TEST(Parametrize, EverythingManualOnAMonochromeCamera)
{
    Rig rig(Having({{"lutSize", "Bpp10"}, {"autoBrightnessMode", "Active"}}));
    const auto configure = [](FakeHost& host) {
        host.fps = 25;
        host.rotate = 2;
        host.wbred = 150; // for colour only
        host.sweepProf = host.sweepGainMod = host.sweepEtimeMod = host.sweepLutMod = 1;
        host.gainMan = 0.1F; // reads back as 0.100001
        host.exptMan = 2500.75F;
        host.lut.resize(1024);
        std::iota(host.lut.begin(), host.lut.end(), std::uint16_t{0});
        host.lutBitSize = 10;
        host.gamma = 2; // not asked for beside a table
    };
    EXPECT_TRUE(
        IsStory("parametrize_manual_mono", Reconfigure(rig, kFormatMono8, configure, true)));
}

TEST(Parametrize, EverythingAutomaticOnAColourCamera)
{
    Rig rig(SmallCamera(sim::Model::Color));
    const auto configure = [](FakeHost& host) {
        host.fps = 25; // not while frames flow, as rotation
        host.rotate = 2;
        host.wbred = 150;
        host.wbblu = 200;
        host.sweepProf = 1;
        host.sweepGainMod = host.sweepEtimeMod = 2;
        host.atbright = 0.5F;
        host.gainlimsLow = 6;
        host.gainlimsHigh = 14;
        host.etlimsLow = 100.9F;
        host.etlimsHigh = 20000;
        host.gamma = 2.5F;
    };
    EXPECT_TRUE(
        IsStory("parametrize_automatic_color", Reconfigure(rig, kFormatYuv422, configure, false)));
}

TEST(Parametrize, TableThatIsGoneIsSwitchedOffWithGamma)
{
    Rig rig(Having({{"lutMode", "Active"}}));
    const std::uint16_t earlier = 0;
    rig.proc.lastLutData = &earlier;
    const Texts story = Reconfigure(
        rig, kFormatMono8, [](FakeHost& host) { host.sweepLutMod = 1; }, false);
    EXPECT_EQ(Count(story, "cam lutMode=Off"), 1U);
}
