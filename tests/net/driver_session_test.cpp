/** Whole sessions of the driver with a camera on the wire. */
#include "tests/net/loopback_camera.h"
#include "tests/platform/contract/camera_under_test.h"
#include "tests/support/quick_thread.h"
#include "tests/support/rig.h"

#include <algorithm>
#include <chrono>
#include <gmock/gmock.h>

namespace
{

using rig::Rig;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::Gt;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Lt;

constexpr const char* kSerial = "D1";
constexpr std::uint32_t kFrames = 30;

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
        host.fps = 100;
        host.bnum = 8;
        host.fnum = kFrames;
        host.onTrigger = [this](std::uint64_t stampUs) { stamps.push_back(stampUs); };
    }

    /** On until the test has closed it. */
    LoopbackCamera& SwitchOn(const std::string& serial, const std::string& address = "127.0.0.1")
    {
        cameras.push_back(std::make_unique<LoopbackCamera>(serial, address));
        return *cameras.back();
    }

    static std::uint64_t NowUs()
    {
        using namespace std::chrono;
        const auto now = system_clock::now().time_since_epoch();
        return static_cast<std::uint64_t>(duration_cast<microseconds>(now).count());
    }

    /** One with nothing to complain of, whose stamps are the host's time. They rise as long as they
     *  follow the arrivals; those that follow the camera's own are one of its intervals ahead, and
     *  kvcam's are uneven where something else keeps the machine busy. */
    void ExpectSmoothSession()
    {
        constexpr std::uint64_t kAheadUs = 1000000;
        const std::uint64_t start = NowUs();
        EXPECT_EQ(Rig::Run(), KvTd::kExitDone);
        EXPECT_THAT(Rig::Of({"log1", "log2"}), IsEmpty());
        EXPECT_THAT(stamps, Each(AllOf(Gt(start), Lt(NowUs() + kAheadUs))));
        if (host.tsadjns == 0) {
            EXPECT_TRUE(std::is_sorted(stamps.begin(), stamps.end(), std::less_equal<>()));
        }
    }

    /** As another client, behind the session. */
    void LookAtTheCamera()
    {
        ASSERT_TRUE(FindDevice(kSerial));
        ASSERT_EQ(GevOpenCamera(&device, 2, &handle), kGevOk);
        map = GevGetFeatureNodeMap(handle);
    }
    std::string Entry(const char* name) { return Enumeration(name)->ToString().c_str(); }
    void Select(const char* selector, const char* entry)
    {
        Enumeration(selector)->FromString(entry);
    }

    std::vector<std::unique_ptr<LoopbackCamera>> cameras;
    rig::FakeHost host;
    std::vector<std::uint64_t> stamps;
    int triggered = 0;
};

TEST_F(DriverOnTheWire, EverySetByHandReachesTheCamera)
{
    SwitchOn(kSerial);
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
    ExpectSmoothSession();
    EXPECT_EQ(stamps.size(), kFrames - 1);
    EXPECT_EQ(rig::Count(Rig::Logs(), "### set strobe"), 2U);

    LookAtTheCamera();
    EXPECT_EQ(Integer("Width")->GetValue(), 320);
    EXPECT_EQ(Integer("OffsetY")->GetValue(), 16);
    EXPECT_EQ(Float("AcquisitionFrameRate")->GetValue(), 100);
    EXPECT_EQ(Float("ExposureTime")->GetValue(), 2000);
    EXPECT_TRUE(Boolean("ReverseX")->GetValue());
    EXPECT_TRUE(Boolean("ReverseY")->GetValue());
    EXPECT_EQ(Entry("lutMode"), "Active");
    Integer("LUTIndex")->SetValue(10);
    EXPECT_EQ(Integer("LUTValue")->GetValue(), 245);
    GEV_CAMERA_OPTIONS options{};
    GevGetCameraInterfaceOptions(handle, &options);
    EXPECT_EQ(options.streamPacketSize, 1400U);
    EXPECT_FALSE(Boolean("ChunkModeActive")->GetValue());
    Select("LineSelector", "Line4");
    EXPECT_EQ(Entry("outputLineSource"), "ExposureActive");
    EXPECT_EQ(Integer("outputLinePulseDuration")->GetValue(), 800);
}

TEST_F(DriverOnTheWire, WhatACameraRegulatesItselfReachesIt)
{
    SwitchOn(kSerial);
    host.format = KvTd::kFormatYuv422;
    host.AskForAutomatics();
    host.gamma = 0.7F;
    ExpectSmoothSession();

    LookAtTheCamera();
    EXPECT_EQ(Entry("PixelFormat"), "YUV422Packed");
    EXPECT_EQ(Entry("GainAuto"), "Continuous");
    EXPECT_EQ(Entry("ExposureAuto"), "Continuous");
    EXPECT_EQ(Float("exposureAutoMaxValue")->GetValue(), 8000);
    EXPECT_NEAR(Float("gammaCorrection")->GetValue(), 0.7, 1e-6);
    Select("BalanceRatioSelector", "Blue");
    EXPECT_NEAR(Float("BalanceRatio")->GetValue(), 1.1885, 1e-4) << "1.5 dB, red's as well";
}

TEST_F(DriverOnTheWire, SignalsBetweenFramesAndLinesBesideThem)
{
    SwitchOn(kSerial);
    host.fnum = 0;
    host.gainMan = 6;
    host.sweepGainMod = KvTd::kSweepManual;
    host.exptMan = 2000;
    host.sweepEtimeMod = KvTd::kSweepManual;
    host.ioboxes = {{KvTd::TD_PIN_OUT1, 1, 2, 0, {0, 100}}};
    host.dynamicLut = rig::RisingTable;
    constexpr std::uint32_t kEnd = 60;
    std::uint32_t round = 0;
    host.onCall = [&](std::string_view service) {
        if (service == "KvGi__DoReconfig") {
            host.exptMan = 3000;
        }
        if (service != "KvUtl__CheckSignal") {
            return;
        }
        ++round;
        host.signals = {round == 5      ? static_cast<std::uint32_t>(KvTd::kSignalReconfigure)
                        : round == 10   ? static_cast<std::uint32_t>(KvTd::kSignalUsr1)
                        : round == 20   ? static_cast<std::uint32_t>(KvTd::kSignalUsr2)
                        : round >= kEnd ? static_cast<std::uint32_t>(KvTd::kSignalTerminate)
                                        : static_cast<std::uint32_t>(KvTd::kSignalNone)};
        // The second thread writes a line's selector and values while this one reads the gain's.
        host.dynConfig = round % 2 == 0 ? 1 : 0;
        host.ioboxes[0].parameters[1] = 100 + round;
    };
    ExpectSmoothSession();
    EXPECT_GE(rig::Count(Rig::Logs(), "### set strobe on pin 2"), 10U);
    EXPECT_EQ(rig::Count(Rig::Logs(), "a new LUT was dynamically calculated"), 2U);
    EXPECT_THAT(Rig::Logs(), Contains(HasSubstr("Use pixel format: 'MONO12")));
    const rig::Texts gains = Rig::HostCalls("KvSc__SetParamVal(6");
    EXPECT_THAT(gains, Each("KvSc__SetParamVal(6, 6.00)"));
    EXPECT_GE(gains.size(), kEnd - 10);

    LookAtTheCamera();
    EXPECT_EQ(Entry("PixelFormat"), "Mono8");
    EXPECT_EQ(Float("ExposureTime")->GetValue(), 3000);
    EXPECT_EQ(Entry("GainSelector"), "SensorAll");
    Select("LineSelector", "Line3");
    EXPECT_GT(Integer("outputLinePulseDuration")->GetValue(), 100);
}

TEST_F(DriverOnTheWire, OneOfTwoCamerasIsChosenByTheMask)
{
    SwitchOn(kSerial);
    SwitchOn("D2", "127.0.0.2");
    host.id = "";
    host.model = "none";
    host.activeCamMask = 2; // the second of the list
    ExpectSmoothSession();
    EXPECT_THAT(Rig::Logs("ProcOnce"), Contains(HasSubstr("Model:Loopback Serial:D2")));
}

TEST_F(DriverOnTheWire, ACameraThatDiesEndsTheSessionAndTheNextFindsItAgain)
{
    LoopbackCamera& camera = SwitchOn(kSerial);
    host.fnum = 0;
    host.onTrigger = [&](std::uint64_t) {
        if (++triggered == 10) {
            camera.Kill();
        }
    };
    EXPECT_EQ(Rig::Run(), KvTd::kExitGrabbing);
    EXPECT_THAT(Rig::Logs(), Contains(HasSubstr("device detach is detected")));
    EXPECT_EQ(Rig::Run(), KvTd::kExitNoDevice);
    SwitchOn(kSerial);
    host.fnum = kFrames;
    Rig::Clear();
    ExpectSmoothSession();
}

} // namespace
