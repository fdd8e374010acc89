#include "tests/support/rig.h"
#include "tests/support/story.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace
{

class ConfigRig : public Rig
{
public:
    explicit ConfigRig(const sim::CameraSetup& setup = SmallCamera()) : Rig(setup) { Open(); }
    int Configure(std::uint32_t* buffers = nullptr)
    {
        std::uint32_t four = 4;
        return proc.ProcSetCamConfig(&Cam(), buffers == nullptr ? &four : buffers);
    }
};

sim::CameraSetup With(void (*change)(sim::CameraSetup&))
{
    sim::CameraSetup setup = SmallCamera();
    change(setup);
    return setup;
}

} // namespace

TEST(Config, InitialConfigurationInItsOrder)
{
    sim::CameraSetup setup = SmallCamera();
    setup.values = {{"DeviceTemperatureSelector", "MaxInternal"},
                    {"Gain", "2"},
                    {"ExposureTime", "2500.5"},
                    {"AcquisitionFrameRate", "25"}};
    setup.tickFrequency = 125'000'000;
    ConfigRig rig(setup);
    rig.host.format = 0x100 | kFormatMono12; // the low byte counts
    rig.host.width = 32;
    rig.host.tsadjns = -250;
    std::uint32_t buffers = 5;
    EXPECT_EQ(rig.Configure(&buffers), 0);
    EXPECT_EQ(buffers, 5U);

    // An unset height needs a vertical offset, so the region is refused. The buffer has 2 bytes for
    // each of 64 pixels in 48 lines and (64 + 255) / 64 spare ones.
    EXPECT_TRUE(IsStory("config_initial", Rig::Of({"log", "host", "cam", "gev"})));
}

TEST(Config, StartsTheLoopsFieldsAnew)
{
    ConfigRig rig;
    CCamProc& proc = rig.proc;
    int dummy = 0;
    proc.lastSignal = 3;
    proc.latencyUs = 77;
    proc.exposureUs = 77;
    proc.convFormat = 5;
    proc.gainAutoState = 2;
    proc.expoAutoState = 2;
    proc.pendingFrame = &dummy;
    proc.pendingConvFrame = &dummy;
    proc.rotateState = 1;
    proc.wbRed = 150;
    proc.wbBlue = 160;
    EXPECT_EQ(rig.Configure(), 0);
    EXPECT_EQ(proc.lastSignal, 0);
    EXPECT_EQ(proc.latencyUs, 5U);
    EXPECT_EQ(proc.exposureUs, 10);
    EXPECT_EQ(proc.convFormat, 0);
    EXPECT_EQ(proc.gainAutoState, 0);
    EXPECT_EQ(proc.expoAutoState, 0);
    EXPECT_EQ(proc.pendingFrame, nullptr);
    EXPECT_EQ(proc.pendingConvFrame, nullptr);
    EXPECT_EQ(proc.rotateState, 0);
    EXPECT_EQ(proc.wbRed, 150) << "only a colour format resets the ratios";
    EXPECT_EQ(proc.wbBlue, 160);
}

TEST(Config, YuvResetsTheBalanceRatios)
{
    ConfigRig rig(SmallCamera(sim::Model::Color));
    rig.host.format = kFormatYuv422;
    rig.proc.wbRed = kIntUnset; // as automatic balance left them: it would be skipped
    rig.proc.wbBlue = kIntUnset;
    EXPECT_EQ(rig.Configure(), 0);
    EXPECT_TRUE(rig.proc.isYuv);
    EXPECT_THAT(Rig::Of("cam"), Contains("BalanceWhiteAuto=Periodic"));
    EXPECT_EQ(rig.proc.stride, 128U);
}

TEST(Config, RefusedFormatEndsItBeforeAnythingElse)
{
    ConfigRig rig;
    rig.host.format = 7;
    EXPECT_EQ(rig.Configure(), -1);
    const Texts told = Rig::Of({"log", "host", "cam"});
    EXPECT_THAT(Texts(told.end() - 2, told.end()),
                ElementsAre("host KvGiMainCtx__GetFormat()",
                            "log1 kv_td_proc:ProcSetCamConfig: The asked pixel format is not "
                            "supported by device!"));
}

TEST(Config, TickFrequencyOfZeroCountsAsOneGigahertz)
{
    for (const std::uint64_t frequency : {std::uint64_t{0}, std::uint64_t{1} << 32}) {
        sim::CameraSetup setup = SmallCamera();
        setup.tickFrequency = frequency;
        ConfigRig rig(setup);
        EXPECT_EQ(rig.Configure(), 0);
        EXPECT_EQ(rig.proc.tickFrequency, 1'000'000'000U);
        EXPECT_THAT(Rig::Logs(), Contains("4 ProcSetCamConfig: Have tick: 1000000000"));
        EXPECT_THAT(Rig::Of("host"), Contains("KvSc__SetParamVal(8, 1)"));
    }
}

TEST(Config, PeriodOfTheCamera)
{
    ConfigRig rig;
    EXPECT_EQ(rig.Configure(), 0);
    EXPECT_EQ(rig.proc.framePeriodUs, 33'333U);
    EXPECT_THAT(Rig::HostCalls("KvGi__SetCurrFpsUs"), IsEmpty()) << "the host is not told";

    ConfigRig without(With([](auto& setup) { setup.missing = {"AcquisitionFrameRate"}; }));
    without.proc.framePeriodUs = 40'000;
    EXPECT_EQ(without.Configure(), 0);
    EXPECT_EQ(without.proc.framePeriodUs, 40'000U);
    without.proc.fps = 0;
    EXPECT_EQ(without.Configure(), 0);
    EXPECT_EQ(without.proc.framePeriodUs, 40'000U);
}

TEST(Config, BufferIsTheLargerOfPayloadAndComputedSize)
{
    // Without a width nothing can be computed: the payload counts, 64 * 48 and four chunks of 16.
    ConfigRig rig(With([](auto& setup) { setup.missing = {"Width"}; }));
    EXPECT_EQ(rig.Configure(), 0);
    EXPECT_EQ(rig.proc.bufferFrameSize, 64U * 48 + 4 * 16);
    EXPECT_EQ(rig.proc.fullFrameSize, 0U);

    ConfigRig computed;
    sim::AddFault(CallFails("GevGetPayloadParameters"));
    EXPECT_EQ(computed.Configure(), 0);
    EXPECT_EQ(computed.proc.bufferFrameSize, 64U * (48 + (64 + 255) / 64));
}

TEST(Config, TwelveBitsTakeTwoBytesOfBufferAndOneAndAHalfOfLine)
{
    ConfigRig rig(With([](auto& setup) { setup.sensorWidth = 100; }));
    rig.host.format = kFormatMono12Packed;
    EXPECT_EQ(rig.Configure(), 0);
    EXPECT_EQ(rig.proc.bufferFrameSize, 2U * 100 * (48 + 3));
    EXPECT_EQ(rig.proc.stride, 150U);
    EXPECT_EQ(rig.proc.fullFrameSize, 150U * 48);
}

TEST(Config, TemperatureLineNeedsASelectorWithInternal)
{
    struct Case {
        sim::CameraSetup setup;
        std::size_t lines;
    };
    for (const Case& c :
         {Case{SmallCamera(), 1},
          Case{With([](auto& s) { s.missing = {"DeviceTemperatureSelector"}; }), 0},
          Case{With([](auto& s) {
                   s.mistyped = {{"DeviceTemperatureSelector", sim::NodeKind::Integer}};
               }),
               0},
          Case{With([](auto& s) {
                   s.notImplementedEntries = {"DeviceTemperatureSelector.Internal"};
               }),
               0},
          Case{With([](auto& s) { s.missingEntries = {"DeviceTemperatureSelector.Internal"}; }), 0},
          Case{With([](auto& s) { s.missing = {"DeviceTemperature"}; }), 0}}) {
        ConfigRig rig(c.setup);
        EXPECT_EQ(rig.Configure(), 0);
        EXPECT_EQ(Count(Rig::Logs(), "Temperature, C   : 41.50"), c.lines);
        EXPECT_EQ(Count(Rig::Of("read"), "DeviceTemperature="), c.lines)
            << "read for the line only";
        EXPECT_EQ(Count(Rig::Of("cam"), "DeviceTemperatureSelector"), 0U) << "where it stands";
    }
}

TEST(Config, CameraWithoutARecordHasEmptyTexts)
{
    ConfigRig rig;
    sim::AddFault(CallFails("GevGetCameraInfo"));
    EXPECT_EQ(rig.Configure(), 0);
    EXPECT_THAT(Rig::Logs(), Contains("3 ProcSetCamConfig: Vendor           : "));
    EXPECT_THAT(Rig::Logs(), Contains("3 ProcSetCamConfig: DeviceSerialID   : "));
}

TEST(Config, FailedReadsKeepTheValuesBefore)
{
    ConfigRig rig(With([](auto& setup) {
        setup.missing = {"WidthMax", "OffsetX", "AcquisitionFrameRate", "Gain", "ExposureTime"};
    }));
    CCamProc& proc = rig.proc;
    sim::AddFault(CallFails("GevGetFeatureValue"));
    proc.widthMax = 71;
    proc.roiOffsetX = 72;
    proc.fps = 7.5F;
    proc.gainCur = 7.4F;
    proc.exposureCur = 73;
    proc.pixelFormat = 0x77;
    EXPECT_EQ(rig.Configure(), 0);
    EXPECT_EQ(proc.widthMax, 71U);
    EXPECT_EQ(proc.roiOffsetX, 72U);
    EXPECT_EQ(proc.fps, 7.5F);
    EXPECT_EQ(proc.gainCur, 7.4F);
    EXPECT_EQ(proc.exposureCur, 73);
    EXPECT_THAT(Rig::Logs(), Contains("3 ProcSetCamConfig: PixelFormat         : 0x00000077"));
    EXPECT_EQ(proc.tickFrequency, 1'000'000'000U);
}

TEST(Config, InitialOneNeitherStopsNorStartsACapture)
{
    ConfigRig rig;
    rig.host.AskForAutomatics();
    rig.host.gamma = 2;
    EXPECT_EQ(rig.Configure(), 0);
    EXPECT_THAT(Rig::Of("cam"), Contains("lutType=GammaCorrection"));
    EXPECT_THAT(Rig::Logs("ExStopCapture"), IsEmpty());
    EXPECT_THAT(Rig::Logs("ExStartCapture"), IsEmpty());
}

TEST(Config, DynamicCallAsksOnlyForTheModes)
{
    ConfigRig rig;
    EXPECT_EQ(rig.Configure(), 0);
    Rig::Clear();
    rig.host.tsadjns = 1500;
    EXPECT_EQ(rig.proc.ProcParametrizeCam(&rig.Cam(), true, false), 0);
    EXPECT_EQ(rig.proc.tsAdjNs, 0) << "the time-stamp mode stays";
    EXPECT_EQ(Story(Rig::Of({"host", "log", "cam", "gev"})), R"(
host KvGiMainCtx__GetSweepProf()
host KvGiMainCtx__GetSweepGainMod()
host KvGiMainCtx__GetSweepEtimeMod()
host KvGiMainCtx__GetSweepLutMod()
log3 kv_td_proc:ProcParametrizeCamAutoFunc:   AutoFunc settings skipped for "Profile"
log3 kv_td_proc:ProcParametrizeCamAutoFunc:   AutoFunc settings skipped for "GainMode"
log3 kv_td_proc:ProcParametrizeCamAutoFunc:   Autofunc settings skipped for "ExpTimeMode"
host KvGiMainCtx__GetGamma()
log3 kv_td_proc:ProcParametrizeCamGamma: Gamma settings handler entry val: Gamma -1.000000
log3 kv_td_proc:ProcParametrizeCamGamma:   Gamma config is skipped
host KvGiMainCtx__GetIoboxNum()
log3 kv_td_proc:ProcParametrizeCamOutLines: IoBox settings handler entry: numCfg 0 (allowed cfg? - "YES")
)");
}

TEST(Stories, DifferInTheFirstLineThatIsNotTheSame)
{
    EXPECT_EQ(DifferenceOf({"a", "b"}, {"a", "b"}), "");
    EXPECT_EQ(DifferenceOf({"a", "b", "x"}, {"a", "b", "c"}), R"(line 3 differs
          1 | a
          2 | b
expected  3 | c
told      3 | x
)");
    EXPECT_EQ(DifferenceOf({}, {"a"}),
              "line 1 differs\nexpected  1 | a\ntold      (nothing more)\n");
    EXPECT_FALSE(IsStoryIn(KV_STORIES "/none/none.txt", {}));
}
