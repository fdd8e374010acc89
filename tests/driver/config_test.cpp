#include "tests/support/rig.h"
#include "tests/support/story.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::Contains;
using testing::IsEmpty;

namespace
{

class ConfigRig : public Rig
{
public:
    explicit ConfigRig(const sim::CameraSetup& setup = SmallCamera()) : Rig(setup) { Open(); }
    int Configure(std::uint32_t buffers = 4) { return proc.ProcSetCamConfig(&Cam(), &buffers); }
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
    sim::CameraSetup setup = Having({{"DeviceTemperatureSelector", "MaxInternal"},
                                     {"Gain", "2"},
                                     {"ExposureTime", "2500.5"},
                                     {"AcquisitionFrameRate", "25"}});
    setup.tickFrequency = 125'000'000;
    ConfigRig rig(setup);
    rig.host.format = 0x100 | kFormatMono12; // the low byte counts
    rig.host.width = 32;
    rig.host.tsadjns = -250;
    EXPECT_EQ(rig.Configure(5), 0);
    EXPECT_EQ(rig.proc.bufNum, 5U);
    // An unset height needs a vertical offset, so the region is refused. The buffer has 2 bytes for
    // each of 64 pixels in 48 lines and (64 + 255) / 64 spare ones.
    EXPECT_TRUE(IsStory("config_initial", Rig::Of({"log", "host", "cam", "gev"})));
}

TEST(Config, StartsTheLoopsFieldsAnew)
{
    ConfigRig rig;
    CCamProc& proc = rig.proc;
    proc.lastSignal = proc.exposureUs = proc.gainAutoState = proc.expoAutoState = 3;
    proc.latencyUs = 77;
    proc.convFormat = proc.rotateState = 1;
    proc.pendingFrame = proc.pendingConvFrame = &rig;
    proc.wbRed = 150;
    proc.wbBlue = 160;
    EXPECT_EQ(rig.Configure(), 0);
    EXPECT_EQ((std::vector<int>{proc.lastSignal, proc.exposureUs, proc.gainAutoState,
                                proc.expoAutoState, proc.convFormat, proc.rotateState}),
              (std::vector<int>{0, 10, 0, 0, 0, 0}));
    EXPECT_EQ(proc.latencyUs, 5U);
    EXPECT_EQ(proc.pendingFrame, nullptr);
    EXPECT_EQ(proc.pendingConvFrame, nullptr);
    EXPECT_EQ(Rig::Logs("ProcParametrizeCam").back(),
              "3 ProcParametrizeCam: REGULAR mode - TS is obtained using box gettimeofday");
    EXPECT_EQ(proc.wbRed, 150) << "only a colour format resets the ratios";
    EXPECT_EQ(proc.wbBlue, 160);
}

TEST(Config, YuvResetsTheBalanceRatios)
{
    ConfigRig rig(SmallCamera(sim::Model::Color));
    rig.host.format = kFormatYuv422;
    rig.host.wbred = 10;
    rig.proc.wbRed = rig.proc.wbBlue = 77;
    EXPECT_EQ(rig.Configure(), 0);
    EXPECT_EQ(Count(Rig::Logs(), "cur WhiteBalance vals are: Red 0 Blue 0"), 1U);
    EXPECT_EQ(rig.proc.stride, 128U);
}

TEST(Config, PeriodTicksAndSizes)
{
    constexpr std::uint32_t kGiga = 1'000'000'000;
    const auto narrow = With([](auto& s) { s.sensorWidth = 100; });
    struct Case {
        sim::CameraSetup setup;
        std::uint32_t format;
        const char* refused; ///< camera call
        std::uint32_t periodUs;
        std::uint32_t bufferBytes;
        std::uint32_t stride;
        std::uint32_t frameBytes;
    };
    for (const Case& c : {
             Case{SmallCamera(), kFormatMono8, "none", 33'333, 64 * (48 + 4), 64, 64 * 48},
             // Ticks of which the low 32 bits are 0.
             {With([](auto& s) { s.tickFrequency = 0; }), 1, "none", 33'333, 3328, 64, 3072},
             {With([](auto& s) { s.tickFrequency = 1UL << 32; }), 1, "none", 33'333, 3328, 64,
              3072},
             // The period of before stays when the camera tells no rate.
             {Lacking({"AcquisitionFrameRate"}), 1, "none", 40'000, 3328, 64, 3072},
             // Without a width only the payload is known: the image and four chunks of 16.
             {Lacking({"Width"}), 1, "none", 33'333, 64 * 48 + 4 * 16, 0, 0},
             {SmallCamera(), 1, "GevGetPayloadParameters", 33'333, 64 * (48 + 4), 64, 3072},
             // 12 bits take two bytes of the buffer and one and a half of the line.
             {narrow, kFormatMono12Packed, "none", 33'333, 2 * 100 * (48 + 3), 150, 150 * 48},
         }) {
        ConfigRig rig(c.setup);
        rig.host.format = c.format;
        rig.proc.framePeriodUs = 40'000;
        sim::AddFault(CallFails(c.refused));
        EXPECT_EQ(rig.Configure(), 0);
        EXPECT_EQ((std::vector{rig.proc.tickFrequency, rig.proc.framePeriodUs,
                               rig.proc.bufferFrameSize, rig.proc.stride, rig.proc.fullFrameSize}),
                  (std::vector{kGiga, c.periodUs, c.bufferBytes, c.stride, c.frameBytes}));
        EXPECT_THAT(Rig::HostCalls("KvGi__SetCurrFpsUs"), IsEmpty()) << "the host is not informed";
        EXPECT_THAT(Rig::Of("host"), Contains("KvSc__SetParamVal(8, 1)")) << "ns of a tick";
    }
}

TEST(Config, TemperatureLineNeedsASelectorWithInternal)
{
    static constexpr char kEntry[] = "DeviceTemperatureSelector.Internal";
    struct Case {
        sim::CameraSetup setup;
        std::size_t lines;
    };
    for (const Case& c : {Case{SmallCamera(), 1},
                          {Lacking({"DeviceTemperatureSelector"}), 0},
                          {Lacking({"DeviceTemperature"}), 0},
                          {With([](auto& s) {
                               s.mistyped = {{"DeviceTemperatureSelector", sim::NodeKind::Integer}};
                           }),
                           0},
                          {With([](auto& s) { s.notImplementedEntries = {kEntry}; }), 0},
                          {With([](auto& s) { s.missingEntries = {kEntry}; }), 0}}) {
        ConfigRig rig(c.setup);
        EXPECT_EQ(rig.Configure(), 0);
        EXPECT_EQ(Count(Rig::Logs(), "Temperature, C   : 41.50"), c.lines);
        EXPECT_EQ(Count(Rig::Of("read"), "DeviceTemperature="), c.lines)
            << "read for the line only";
        EXPECT_EQ(Count(Rig::Of("cam"), "DeviceTemperatureSelector"), 0U) << "where it stands";
    }
}

TEST(Config, RegionFailsAlsoWhenOnlyTheVerticalOffsetIsRefused)
{
    ConfigRig rig;
    EXPECT_EQ(rig.Configure(), 0);
    rig.host.offsetX = 0;
    rig.host.width = 32;
    rig.host.offsetY = 17; // no multiple of its increment
    rig.host.height = 16;
    EXPECT_EQ(rig.proc.ProcParametrizeCamAoi(&rig.Cam()), 1 << OFFSET_Y_PROPERTY_TYPE);
    EXPECT_EQ(rig.proc.roiWidth, 64U) << "the cache stays, though the width was set";
    EXPECT_EQ(Rig::Feature("Width"), "32");
}

TEST(Config, FailedReadsKeepTheValuesBefore)
{
    ConfigRig rig(Lacking({"WidthMax", "OffsetX", "AcquisitionFrameRate", "Gain", "ExposureTime"}));
    CCamProc& proc = rig.proc;
    sim::AddFault(CallFails("GevGetCameraInfo"));
    sim::AddFault(CallFails("GevGetFeatureValue"));
    proc.widthMax = 71;
    proc.roiOffsetX = 72;
    proc.pixelFormat = 0x77;
    proc.fps = proc.gainCur = proc.exposureCur = 7.5F;
    EXPECT_EQ(rig.Configure(), 0);
    EXPECT_EQ(proc.widthMax, 71U);
    EXPECT_EQ(proc.roiOffsetX, 72U);
    EXPECT_EQ(proc.fps, 7.5F);
    EXPECT_EQ(proc.gainCur, 7.5F);
    EXPECT_EQ(proc.exposureCur, 7.5F);
    EXPECT_EQ(proc.tickFrequency, 1'000'000'000U);
    for (const char* line : {"PixelFormat         : 0x00000077", "Vendor           : ",
                             "Model            : ", "Version          : ", "DeviceSerialID   : "}) {
        EXPECT_THAT(Rig::Logs(), Contains(std::string("3 ProcSetCamConfig: ") + line));
    }
}

TEST(Config, InitialOneNeitherStopsNorStartsACapture)
{
    ConfigRig rig;
    rig.host.AskForAutomatics();
    rig.host.gamma = 2;
    EXPECT_EQ(rig.Configure(), 0);
    EXPECT_THAT(Rig::Of("cam"), Contains("lutType=GammaCorrection"));
    EXPECT_EQ(Count(Rig::Of("gev"), "Transfer"), 0U);
}
