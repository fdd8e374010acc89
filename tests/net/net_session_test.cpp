/** Sessions on the network that are disturbed: lost frames, absent cameras and the like.
 *
 *  Times are bounded only to distinguish a call that returns at once from one that waits for the
 *  network library's own time-outs, which are 2.5 s for one access. */
#include "gev_host.h"
#include "tests/net/loopback_camera.h"
#include "tests/platform/contract/camera_under_test.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <limits>
#include <thread>

namespace
{

using std::chrono::milliseconds;
using testing::AllOf;
using testing::Gt;
using testing::Lt;

milliseconds TimeOf(const std::function<void()>& work)
{
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - begin);
}

std::int64_t RealTimeNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

class NetSession : public Session
{
protected:
    static constexpr milliseconds kClosed{2500}; ///< the library alone takes 5 s
    static constexpr milliseconds kInterrupted{2000};

    void SetUp() override { UseNetworkCameras(); }

    /** Cameras outlive the session. */
    LoopbackCamera& Start(const std::string& serial, const std::vector<std::string>& options = {})
    {
        cameras_.push_back(std::make_unique<LoopbackCamera>(serial, "127.0.0.1", options));
        return *cameras_.back();
    }

    /** One whose description has `text` in place of what kvcam's own has there. */
    void StartWith(const std::string& serial, const std::string& own, const std::string& text)
    {
        const std::string features = DescriptionWith(own, text);
        Start(serial, {"--description", folder_.Write(serial + ".xml", features)});
    }

    /** The options of a camera with this fault that sends no packet again. */
    static std::vector<std::string> Lossy(const std::string& fault)
    {
        return {"--fault", fault, "--resend-depth", "0"};
    }

    /** Two accesses that reached out would take five seconds. */
    void ExpectNobodyWaits()
    {
        EXPECT_EQ(GevGetCameraInfo(handle), nullptr);
        EXPECT_LT(TimeOf([&] {
                      EXPECT_THROW(Integer("Width")->GetValue(), GenICam::TimeoutException);
                      EXPECT_THROW(Float("Gain")->SetValue(2), GenICam::TimeoutException);
                      EXPECT_EQ(Next(0), nullptr);
                  }),
                  milliseconds(4000));
        EXPECT_EQ(Next(200), nullptr);
        EXPECT_EQ(status, kGevTimeout);
    }

private:
    TempFolder folder_;
    std::vector<std::unique_ptr<LoopbackCamera>> cameras_;
};

TEST_F(NetSession, AStartThatFailsTellsWhyAndTheLogMayCallBack)
{
    StartWith("S1", "<Command Name=\"AcquisitionStart\">", "<Command Name=\"Begin\">");
    Open("S1");
    ASSERT_EQ(Initialize(4), kGevOk);
    PlatformLog log([&] {
        GEV_CAMERA_OPTIONS options{};
        EXPECT_EQ(GevGetCameraInterfaceOptions(handle, &options), kGevOk); // takes the same lock
    });
    EXPECT_EQ(GevStartTransfer(handle, kForEver), kGevError);
    EXPECT_TRUE(log.WaitFor("network camera S1: frames can't be started: AcquisitionStart: no such "
                            "command"));
    EXPECT_EQ(Statistics().startRefused, 1U);
}

TEST_F(NetSession, AModeThatCannotBeReadIsWrittenAllTheSame)
{
    const std::string mode = "<Address>0x1000008</Address><Length>4</Length><AccessMode>";
    StartWith("M1", mode + "RW", mode + "WO");
    Open("M1");
    EXPECT_EQ(Enumeration("AcquisitionMode")->GetAccessMode(), GenApi::WO);
    StartFor(4);
    GrabFrames(3);
}

TEST_F(NetSession, AKilledCameraIsGoneAndItsSuccessorIsGrabbedFrom)
{
    LoopbackCamera& camera = Start("K1");
    Open("K1");
    EXPECT_STREQ(device.manufacturer, "DALSA (kvcam)");
    EXPECT_STREQ(device.version, "1.00");
    EXPECT_EQ(device.ipAddress, 0x7F000001U);
    StartFor(4);
    GrabFrames(3);
    std::thread waiting([&] { // a wait that is under way is not cut short, but ends
        _tag_GEVBUF_ENTRY* frame = nullptr;
        while (GevWaitForNextFrame(handle, &frame, 1000) != kGevTimeout) {
            GevReleaseFrame(handle, frame);
        }
    });
    {
        PlatformLog log;
        camera.Kill();
        ASSERT_TRUE(log.WaitFor("network camera K1 does not answer"));
    }
    waiting.join();
    ExpectNobodyWaits();

    // One that was switched on again is another camera: it knows nothing of this session.
    {
        PlatformLog log;
        Start("K1");
        ASSERT_TRUE(log.WaitFor("network camera K1 doesn't know us any more"));
    }
    EXPECT_EQ(GevGetCameraInfo(handle), nullptr);
    EXPECT_LT(TimeOf([&] { EXPECT_EQ(GevCloseCamera(&handle), kGevOk); }), kClosed);
    Open("K1");
    StartFor(4);
    GrabFrames(10);
}

TEST_F(NetSession, ACameraThatDiesUnnoticedIsClosedInBoundedTime)
{
    for (const bool killed : {true, false}) {
        for (const int frames : {0, 2}) {
            LoopbackCamera& camera = Start("D1");
            Open("D1");
            if (frames != 0) {
                StartFor(4);
                GrabFrames(frames);
            }
            killed ? camera.Kill() : camera.Freeze();
            // At once, before anybody noticed: these calls reach for the camera.
            EXPECT_LT(TimeOf([&] {
                          GevAbortTransfer(handle);
                          GevFreeTransfer(handle);
                          EXPECT_EQ(GevCloseCamera(&handle), kGevOk);
                      }),
                      kClosed);
            camera.Kill();
        }
    }
}

TEST_F(NetSession, AnInterruptionEndsWhateverWaitsForASilentCamera)
{
    const struct {
        const char* name;
        bool open; ///< beforehand
        std::function<void()> wait;
    } kRows[] = {
        {"listing", false, [&] { FindDevice("I1"); }},
        {"opening", false, [&] { GevOpenCamera(&device, 2, &handle); }},
        {"reading", true,
         [&] { EXPECT_THROW(Integer("Width")->GetValue(false, true), GenICam::TimeoutException); }},
        {"starting", true, [&] { EXPECT_NE(GevStartTransfer(handle, kForEver), kGevOk); }},
        {"stopping", true, [&] { GevAbortTransfer(handle); }},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        LoopbackCamera& camera = Start("I1");
        ASSERT_TRUE(FindDevice("I1"));
        if (row.open) {
            Open("I1");
            ASSERT_EQ(Initialize(4), kGevOk);
        }
        camera.Freeze();
        std::thread waiting(row.wait);
        std::this_thread::sleep_for(milliseconds(100)); // it is most likely under way
        EXPECT_LT(TimeOf([&] {
                      GevInterruptCameras(1);
                      waiting.join();
                      GevFreeTransfer(handle);
                      GevCloseCamera(&handle);
                  }),
                  kInterrupted);
        GevInterruptCameras(0);
        camera.Kill();
    }
}

TEST_F(NetSession, ASilenceShorterThanThePatienceCostsOnlyFrames)
{
    UseNetworkCameras(20'000);
    LoopbackCamera& camera = Start("P1");
    Open("P1");
    GEV_CAMERA_OPTIONS options{};
    ASSERT_EQ(GevGetCameraInterfaceOptions(handle, &options), kGevOk);
    options.heartbeatTimeoutMs = 60'000; // or the camera itself ends the session
    ASSERT_EQ(GevSetCameraInterfaceOptions(handle, &options), kGevOk);
    StartFor(4);
    GrabFrames(1);
    camera.Freeze();
    std::thread thawing([&] {
        std::this_thread::sleep_for(milliseconds(3000)); // longer than any time of the library's
        EXPECT_NE(GevGetCameraInfo(handle), nullptr);
        camera.Continue();
    });
    Float("Gain")->SetValue(2);
    thawing.join();
    EXPECT_EQ(Float("Gain")->GetValue(), 2);
    GrabFrames(5);
    EXPECT_EQ(GevAbortTransfer(handle), kGevOk);
}

TEST_F(NetSession, OpeningStopsWhatAFormerSessionLeftRunning)
{
    const std::string stop = "<ImposedAccessMode>WO</ImposedAccessMode><pValue>";
    StartWith("O1", stop + "AcquisitionStop_Reg", stop + "autoBrightnessTarget_Reg");
    Open("O1");
    EXPECT_EQ(Integer("autoBrightnessTarget")->GetValue(), 1); // as the command has it
}

TEST_F(NetSession, MissingFramesAndPacketsAreCountedAndTheSessionGoesOn)
{
    const struct {
        const char* serial;
        std::vector<std::string> options;
        testing::Matcher<std::uint64_t> complete; ///< of 100 waits
        std::uint64_t missing;                    ///< at least
        std::uint64_t packets = 0; ///< missing in each incomplete frame; 0: not known
    } kRows[] = {
        {"L1", Lossy("lose ratio=0.03"), AllOf(Gt(30U), Lt(100U)), 1},
        {"L2", Lossy("lose every=5"), Gt(90U), 20, 1}, // 1 to 4, 6 to 9, ..., 124
        {"L3", Lossy("lose packet=2 every=5"), AllOf(Gt(50U), Lt(95U)), 5, 1},
        {"L4", Lossy("lose packet=0 every=5"), AllOf(Gt(50U), Lt(95U)), 5, 1},
        {"L5",
         {"--fault", "lose packet=3 every=9", "--fault", "ignore-resend"},
         AllOf(Gt(50U), Lt(99U)),
         1,
         1},
        {"L6",
         {"--fault", "lose packet=2 every=5", "--fault", "lose every=7", "--resend-depth", "0",
          "--extended-ids"},
         AllOf(Gt(50U), Lt(95U)),
         5,
         1},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.serial);
        LoopbackCamera& camera = Start(row.serial, row.options);
        Open(row.serial);
        Integer("Width")->SetValue(1364); // 16 packets, and with wide numbers 17
        Integer("Height")->SetValue(16);
        Float("AcquisitionFrameRate")->SetValue(90);
        std::int64_t lastArrivalNs = RealTimeNs();
        StartFor(16);
        std::uint64_t complete = 0;
        std::uint64_t incomplete = 0;
        std::uint64_t gaps = 0; // numbers left out
        std::uint32_t last = 0;
        std::uint64_t lastTime = 0;
        for (int i = 0; i < 100; ++i) {
            _tag_GEVBUF_ENTRY& frame = Take();
            ++(status == kGevOk ? complete : incomplete);
            EXPECT_EQ(frame.status, status);
            if (frame.frameId != 0) { // that of a first frame may be lost
                EXPECT_GT(frame.frameId, last);
                gaps += last == 0 ? 0 : frame.frameId - last - 1;
                last = frame.frameId;
            }
            // The library has the number from the packet with the time stamp only.
            const bool numbered = OwnReceiver() || frame.timestamp != 0;
            EXPECT_EQ(static_cast<std::uint32_t>(frame.frameNumber), numbered ? frame.frameId : 0);
            EXPECT_TRUE(frame.timestamp == 0 || frame.timestamp > lastTime);
            EXPECT_THAT(frame.arrivalNs, AllOf(Gt(lastArrivalNs), Lt(RealTimeNs())));
            lastArrivalNs = frame.arrivalNs;
            lastTime = std::max(lastTime, frame.timestamp);
            Release(frame);
        }
        const GEV_TRANSFER_STATISTICS counts = Statistics();
        EXPECT_EQ(counts.framesReceived, complete);
        EXPECT_EQ(counts.framesIncomplete, incomplete);
        EXPECT_EQ(counts.framesLost + counts.underruns, gaps);
        EXPECT_THAT(complete, row.complete);
        EXPECT_GE(incomplete + gaps, row.missing);
        // The packets of frames without a buffer came, but weren't kept. The library counts a
        // packet that came late in either way.
        if (OwnReceiver() && row.packets != 0 && counts.underruns == 0) {
            EXPECT_EQ(counts.packetsMissing,
                      incomplete * row.packets + counts.framesLost * counts.packetsOfFrame);
        }
        GevCloseCamera(&handle);
        camera.Kill();
    }
}

TEST_F(NetSession, NumbersThatWrapToZeroLoseNoFrame)
{
    Start("Z1", {"--fault", "numbers first=65530 wrap=0"});
    Open("Z1");
    StartFor(16);
    std::uint64_t last = 0;
    do {
        _tag_GEVBUF_ENTRY& frame = Take();
        EXPECT_EQ(status, kGevOk);
        last = frame.frameNumber;
        Release(frame);
    } while (last < 3 || last > 1000);
    EXPECT_EQ(Statistics().framesLost, 0U);
}

TEST_F(NetSession, APacketThatIsNeverSentAgainHoldsLaterFramesBackForSomeFramePeriodsOnly)
{
    Start("H1", {"--fault", "lose packet=2 every=10", "--fault", "ignore-resend"});
    Open("H1");
    StartFor(8);
    std::int64_t heldNs = std::numeric_limits<std::int64_t>::max();
    for (int incomplete = 0; incomplete < 5;) {
        _tag_GEVBUF_ENTRY& frame = Take();
        if (status == kGevIncomplete) {
            ++incomplete;
            heldNs = std::min(heldNs, RealTimeNs() - frame.arrivalNs);
        }
        Release(frame);
    }
    EXPECT_LT(heldNs, 500'000'000); // five periods are 50 ms, the frame time-out is 1 s
}

TEST_F(NetSession, TheHostsPacketDelayReachesTheCameraInPlaceOfTheDrivers)
{
    Start("D2");
    constexpr std::uint32_t kDrivers = 10; // us
    constexpr std::uint32_t kHosts = 250;
    const auto delayAfterSetting = [&] {
        GEV_CAMERA_OPTIONS options{};
        EXPECT_EQ(GevGetCameraInterfaceOptions(handle, &options), kGevOk);
        options.streamPacketDelay = kDrivers;
        EXPECT_EQ(GevSetCameraInterfaceOptions(handle, &options), kGevOk);
        GevCloseCamera(&handle);
        Open("D2"); // which reads the register
        EXPECT_EQ(GevGetCameraInterfaceOptions(handle, &options), kGevOk);
        return options.streamPacketDelay;
    };
    Open("D2");
    EXPECT_EQ(GevOverridePacketDelay(-2), kGevInvalidArgument);
    ASSERT_EQ(GevOverridePacketDelay(kHosts), kGevOk);
    EXPECT_EQ(delayAfterSetting(), kHosts);
    ASSERT_EQ(GevOverridePacketDelay(-1), kGevOk);
    EXPECT_EQ(delayAfterSetting(), kDrivers);
}

TEST_F(NetSession, TheCountsTellWhyNoFrameIsComplete)
{
    for (const bool unknown : {true, false}) {
        SCOPED_TRACE(unknown);
        LoopbackCamera& camera =
            Start("Y1", Lossy(unknown ? "payload-type value=6" : "lose packet=2"));
        Open("Y1");
        StartFor(8);
        for (int i = 0; i < 5; ++i) {
            Release(Take());
            EXPECT_EQ(status, kGevIncomplete);
        }
        const GEV_TRANSFER_STATISTICS counts = Statistics();
        EXPECT_EQ(counts.framesOfUnknownPayload >= 5, unknown);
        // With the first packet it is known that the others aren't wanted.
        EXPECT_EQ(counts.packetsOfNewestIncomplete,
                  unknown && OwnReceiver() ? 1 : counts.packetsOfFrame - 1);
        GevCloseCamera(&handle);
        camera.Kill();
    }
}

TEST_F(NetSession, FramesThatNobodyTookGiveTheirBuffersBack)
{
    Start("U1");
    Open("U1");
    StartFor(2);
    while (Statistics().underruns == 0) { // until both are filled
        std::this_thread::sleep_for(milliseconds(1));
    }
    ASSERT_EQ(GevAbortTransfer(handle), kGevOk);
    ASSERT_EQ(GevStartTransfer(handle, kForEver), kGevOk);
    GrabFrames(5);
}

TEST_F(NetSession, ChunksBringTheFramesOwnGainAndExposure)
{
    Start("C2");
    Open("C2");
    Boolean("ChunkModeActive")->SetValue(true);
    for (const char* chunk : {"Gain", "ExposureTime", "Timestamp"}) {
        Enumeration("ChunkSelector")->FromString(chunk);
        Boolean("ChunkEnable")->SetValue(true);
    }
    constexpr std::uint64_t kImage = 64 * 64;
    constexpr std::uint64_t kTrailer = 8;
    constexpr std::uint64_t kValue = 8;
    std::uint64_t payload = 0;
    ASSERT_EQ(GevGetPayloadParameters(handle, &payload, nullptr), kGevOk);
    EXPECT_EQ(payload, kImage + kTrailer + 3 * (kValue + kTrailer));
    Float("Gain")->SetValue(2);
    StartFor(16);
    for (int i = 0; i < 3; ++i) {
        _tag_GEVBUF_ENTRY& frame = Take();
        EXPECT_EQ(status, kGevOk);
        EXPECT_EQ(frame.receivedBytes, kImage);
        EXPECT_EQ(frame.width, 64U);
        EXPECT_EQ(frame.chunkSize, payload - kImage);
        const auto* pixels = static_cast<const std::uint8_t*>(frame.address);
        EXPECT_EQ(frame.chunkData, pixels + kImage);
        EXPECT_LT(std::count(pixels, pixels + kImage, 0xEE), 100); // written over
        Release(frame);
    }
    // A frame that came before the gain was changed has its own, whatever the register says.
    const std::uint64_t before = Statistics().packetsReceived;
    constexpr std::uint64_t kPacketsOfTwoFrames = 12;
    while (Statistics().packetsReceived < before + kPacketsOfTwoFrames) {
        std::this_thread::sleep_for(milliseconds(1));
    }
    Float("Gain")->SetValue(4);
    EXPECT_EQ(Float("Gain")->GetValue(), 4);
    GrabFrames(1);
    EXPECT_EQ(Float("Gain")->GetValue(), 2);
    EXPECT_EQ(Float("ExposureTime")->GetValue(), 1000);
    for (int i = 0; i < 1000 && Float("Gain")->GetValue() != 4; ++i) {
        GrabFrames(1);
    }
    EXPECT_EQ(Float("Gain")->GetValue(), 4);
}

} // namespace
