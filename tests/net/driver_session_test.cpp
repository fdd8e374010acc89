/** Whole sessions of the driver with a camera on the network. */
#include "tests/net/command_count.h"
#include "tests/net/loopback_camera.h"
#include "tests/platform/contract/camera_under_test.h"
#include "tests/platform/do_access.h"
#include "tests/support/quick_thread.h"
#include "tests/support/rig.h"

#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <vector>

namespace
{

using rig::Rig;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* kSerial = "D1";
constexpr std::uint32_t kFrames = 30;

/** Slow enough for a machine that has much else to do: the buffers last for most of a second. */
class DriverOnTheWire : public Session
{
protected:
    void SetUp() override
    {
        UseNetworkCameras();
        rig::QuickThread::allowed = true;
        sim::SetJournal(true);
        Rig::Clear();
        host.model = "Loopback";
        host.id = kSerial;
        host.datachunk = 1400;
        host.width = 320;
        host.height = 200;
        host.offsetX = 32;
        host.offsetY = 16;
        host.fps = 20;
        host.bnum = 16;
        host.fnum = kFrames;
    }

    rig::FakeHost host;
};

TEST_F(DriverOnTheWire, EverySetByHandReachesTheCamera)
{
    const LoopbackCamera camera(kSerial);
    host.gainMan = 6;
    host.exptMan = 2000;
    host.sweepGainMod = KvTd::kSweepManual;
    host.sweepEtimeMod = KvTd::kSweepManual;
    host.sweepLutMod = KvTd::kSweepManual;
    host.rotate = KvTd::kRotateTurned;
    host.tsadjns = 1500;
    host.lut.resize(256);
    for (std::size_t i = 0; i < host.lut.size(); ++i) {
        host.lut[i] = static_cast<std::uint16_t>(255 - i);
    }
    host.lutBitSize = 8;
    host.ioboxes = {{KvTd::TD_PIN_OUT1, 1, 2, 0, {100, 500}},
                    {KvTd::TD_PIN_OUT2, 1, 3, 2, {0, 800}}};
    std::uint32_t triggered = 0;
    host.onTrigger = [&](std::uint64_t) { ++triggered; };
    EXPECT_EQ(Rig::Run(), KvTd::kExitDone);
    EXPECT_THAT(Rig::Of({"log1", "log2"}), IsEmpty()); // nothing to complain of
    EXPECT_EQ(triggered, kFrames - 1);
    EXPECT_EQ(rig::Count(Rig::Logs(), "### set strobe"), 2U);

    // As another client, behind the session.
    ASSERT_TRUE(FindDevice(kSerial));
    ASSERT_EQ(GevOpenCamera(&device, 2, &handle), kGevOk);
    map = GevGetFeatureNodeMap(handle);
    const std::pair<const char*, const char*> kSettings[] = {{"Width", "320"},
                                                             {"OffsetY", "16"},
                                                             {"ExposureTime", "2000"},
                                                             {"AcquisitionFrameRate", "20"},
                                                             {"ReverseX", "true"},
                                                             {"ReverseY", "true"},
                                                             {"lutMode", "Active"},
                                                             {"LUTIndex=10", ""},
                                                             {"LUTValue", "245"},
                                                             {"ChunkModeActive", "false"},
                                                             {"LineSelector=Line4", ""},
                                                             {"outputLineSource", "ExposureActive"},
                                                             {"outputLinePulseDuration", "800"}};
    for (const auto& [access, result] : kSettings) {
        EXPECT_EQ(DoAccess(*map, access), result) << access;
    }
    GEV_CAMERA_OPTIONS options{};
    GevGetCameraInterfaceOptions(handle, &options);
    EXPECT_EQ(options.streamPacketSize, 1400U);
}

/** Its loop asks for gain, exposure time and temperature of each frame. */
TEST_F(DriverOnTheWire, AFrameCostsHardlyAnyCommand)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::uint32_t kBegin = 100;
    constexpr double kPeriodS = 0.005;
    const TempFolder folder;
    // No value has the id that its chunk has on the wire.
    const std::string plain = DescriptionWith("<ChunkID>4B56", "<ChunkID>4b57");
    const struct {
        std::vector<std::string> camera;
        double most; ///< commands in the period of a frame
    } kRows[] = {{{}, 0.1}, {{"--description", folder.Write("plain.xml", plain)}, 0.5}};
    host.fps = 200;
    host.fnum = 500;
    for (const auto& row : kRows) {
        const LoopbackCamera camera(kSerial, "127.0.0.1", row.camera);
        ASSERT_TRUE(FindDevice(kSerial));
        ASSERT_EQ(GevOpenCamera(&device, 2, &handle), kGevOk);
        DoAccess(*GevGetFeatureNodeMap(handle), "ExposureTime=1000"); // it limits the frame rate
        GevCloseCamera(&handle);
        CommandCount commands;
        if (!commands.Counts()) {
            GTEST_SKIP() << "no right to count packets";
        }
        std::uint32_t frames = 0;
        unsigned count = 0;
        Clock::time_point begin;
        Clock::time_point end;
        host.onTrigger = [&](std::uint64_t) {
            const unsigned since = commands.Take();
            end = Clock::now();
            if (++frames <= kBegin) {
                begin = end;
            } else {
                count += since;
            }
        };
        EXPECT_EQ(Rig::Run(), KvTd::kExitDone);
        EXPECT_GT(count, 0U); // the heartbeat
        EXPECT_LE(count, row.most * std::chrono::duration<double>(end - begin).count() / kPeriodS);
    }
}

TEST_F(DriverOnTheWire, ACameraThatDiesEndsTheSessionAndTheNextFindsItAgain)
{
    auto camera = std::make_unique<LoopbackCamera>(kSerial);
    std::uint32_t triggered = 0;
    host.fnum = 0;
    host.onTrigger = [&](std::uint64_t) {
        if (++triggered == 10) {
            camera->Kill();
        }
    };
    EXPECT_EQ(Rig::Run(), KvTd::kExitGrabbing);
    EXPECT_THAT(Rig::Logs(), Contains(HasSubstr("device detach is detected")));
    EXPECT_EQ(Rig::Run(), KvTd::kExitNoDevice);
    camera = std::make_unique<LoopbackCamera>(kSerial);
    host.fnum = kFrames;
    EXPECT_EQ(Rig::Run(), KvTd::kExitDone);
    EXPECT_GT(triggered, 10U);
}

} // namespace
