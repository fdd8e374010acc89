/** Sessions on the wire that something happens to. */
#include "gev_backend_choice.h"
#include "tests/net/loopback_camera.h"
#include "tests/platform/contract/camera_under_test.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace
{

using testing::AllOf;
using testing::Gt;
using testing::Lt;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/** How long it takes. */
milliseconds TimeOf(const std::function<void()>& work)
{
    const auto begin = Clock::now();
    work();
    return std::chrono::duration_cast<milliseconds>(Clock::now() - begin);
}

class NetSession : public Session
{
protected:
    static constexpr milliseconds kNoticed{500}; ///< the promise
    static constexpr milliseconds kAtOnce{
        300}; ///< no waiting for the network: room for a scheduler
    static constexpr milliseconds kClosed{15'000}; ///< the library asks it five times, 2.5 s each

    void SetUp() override { UseNetworkCameras(); }

    /** Cameras outlive the session. */
    LoopbackCamera& Start(const std::string& serial, const std::string& address = "127.0.0.1",
                          const std::vector<std::string>& options = {})
    {
        cameras_.push_back(std::make_unique<LoopbackCamera>(serial, address, options));
        return *cameras_.back();
    }

    /** One whose description has `text` in place of what kvcam's own has there. */
    void StartWith(const std::string& serial, const std::string& own, const std::string& text)
    {
        std::string features = ReadFile(std::filesystem::path(KVCAM).replace_filename("kvcam.xml"));
        const std::size_t at = features.find(own);
        ASSERT_NE(at, std::string::npos);
        features.replace(at, own.size(), text);
        Start(serial, "127.0.0.1", {"--features", folder_.Write(serial + ".xml", features)});
    }

    /** How long it takes until the platform knows whether the camera is there; looks for two
     *  seconds at most. */
    milliseconds UntilPresent(bool present)
    {
        return TimeOf([&] {
            const auto end = Clock::now() + std::chrono::seconds(2);
            while ((GevGetCameraInfo(handle) != nullptr) != present && Clock::now() < end) {
                std::this_thread::sleep_for(milliseconds(1));
            }
        });
    }

    void ExpectNobodyWaits()
    {
        EXPECT_LT(TimeOf([&] {
                      EXPECT_THROW(Integer("Width")->GetValue(), GenICam::TimeoutException);
                      EXPECT_THROW(Float("Gain")->SetValue(2), GenICam::TimeoutException);
                      EXPECT_EQ(Next(0), nullptr);
                  }),
                  kAtOnce);
        const milliseconds asked(200);
        EXPECT_LT(TimeOf([&] { Next(static_cast<std::uint32_t>(asked.count())); }),
                  asked + kAtOnce);
        EXPECT_EQ(status, kGevTimeout);
    }

    static std::uint64_t PacketsReceived()
    {
        GEV_TRANSFER_STATISTICS counts{};
        GevGetTransferStatistics(&counts);
        return counts.packetsReceived;
    }

    void Grab(int frames)
    {
        for (int i = 0; i < frames; ++i) {
            _tag_GEVBUF_ENTRY* frame = Next();
            ASSERT_NE(frame, nullptr) << i;
            GevReleaseFrame(handle, frame);
        }
    }

private:
    TempFolder folder_;
    std::vector<std::unique_ptr<LoopbackCamera>> cameras_;
};

TEST_F(NetSession, AStartThatFailsTellsWhy)
{
    std::vector<std::string> told;
    gevplat::SetLogSink([&](int, const std::string& text) { told.push_back(text); });
    StartWith("S1", "<Command Name=\"AcquisitionStart\">", "<Command Name=\"Begin\">");
    Open("S1");
    ASSERT_EQ(Initialize(4), kGevOk);
    EXPECT_EQ(GevStartTransfer(handle, kForEver), kGevError);
    EXPECT_THAT(told, testing::Contains("network camera S1: frames can't be started: "
                                        "AcquisitionStart: no such command"));
    gevplat::SetLogSink(nullptr);
}

TEST_F(NetSession, AModeThatCannotBeReadIsWrittenAllTheSame)
{
    const std::string mode = "<Address>0x012C</Address>\n    <Length>4</Length>\n    <AccessMode>";
    StartWith("M1", mode + "RW", mode + "WO");
    Open("M1");
    EXPECT_EQ(Enumeration("AcquisitionMode")->GetAccessMode(), GenApi::WO);
    StartFor(4);
    Grab(3);
}

TEST_F(NetSession, AKilledCameraIsGoneAndItsSuccessorIsGrabbedFrom)
{
    LoopbackCamera& camera = Start("K1");
    Open("K1");
    StartFor(4);
    Grab(3);
    camera.Kill();
    EXPECT_LT(UntilPresent(false), kNoticed);
    ExpectNobodyWaits();

    // One that was switched on again is another camera: it knows nothing of this session.
    Start("K1");
    EXPECT_FALSE(FindDevice("nobody")); // takes a second, in which it could be taken for the first
    EXPECT_EQ(GevGetCameraInfo(handle), nullptr);
    EXPECT_LT(TimeOf([&] { EXPECT_EQ(GevCloseCamera(&handle), kGevOk); }), kClosed);
    Open("K1");
    StartFor(4);
    Grab(10);
}

TEST_F(NetSession, AFrozenCameraIsGoneUntilItGoesOn)
{
    LoopbackCamera& camera = Start("F1");
    Open("F1");
    StartFor(4);
    Grab(3);
    std::thread waiting([&] { // a wait that is under way is not cut short, but ends
        _tag_GEVBUF_ENTRY* frame = nullptr;
        EXPECT_LT(TimeOf([&] {
                      while (GevWaitForNextFrame(handle, &frame, 1000) == kGevOk) {
                          GevReleaseFrame(handle, frame);
                      }
                  }),
                  milliseconds(3000));
    });
    camera.Freeze();
    EXPECT_LT(UntilPresent(false), kNoticed);
    waiting.join();
    ExpectNobodyWaits();
    camera.Continue();
    EXPECT_LT(UntilPresent(true), kNoticed);
    EXPECT_EQ(Integer("Width")->GetValue(), 64);
    Grab(10);
}

TEST_F(NetSession, ACameraThatDiesUnnoticedIsClosedInBoundedTime)
{
    for (const bool grabs : {false, true}) {
        LoopbackCamera& camera = Start("D1");
        Open("D1");
        if (grabs) {
            StartFor(4);
            Grab(2);
        }
        camera.Kill();
        // At once, before anybody noticed: these calls reach for the camera.
        EXPECT_LT(TimeOf([&] {
                      GevAbortTransfer(handle);
                      GevFreeTransfer(handle);
                      EXPECT_EQ(GevCloseCamera(&handle), kGevOk);
                  }),
                  kClosed)
            << "grabbing: " << grabs;
    }
}

TEST_F(NetSession, OfTwoCamerasTheRightOneIsOpenedBySerial)
{
    Start("A1");
    Start("B2", "127.0.0.2", {"--model", "Other"});
    if (IsSkipped()) {
        return;
    }
    std::array<GEV_DEVICE_INFO, 8> list;
    int count = 0;
    ASSERT_EQ(GevGetCameraList(list.data(), static_cast<int>(list.size()), &count), kGevOk);
    ASSERT_EQ(count, 2);
    for (const char* serial : {"B2", "A1"}) {
        Open(serial);
        const bool isFirst = std::string(serial) == "A1";
        EXPECT_STREQ(device.model, isFirst ? "Loopback" : "Other");
        EXPECT_STREQ(device.manufacturer, "DALSA (kvcam)");
        EXPECT_STREQ(device.version, "1.00");
        EXPECT_EQ(device.ipAddress, isFirst ? 0x7F000001U : 0x7F000002U);
        Integer("Width")->SetValue(isFirst ? 128 : 256);
        StartFor(3);
        const _tag_GEVBUF_ENTRY* frame = Next();
        ASSERT_NE(frame, nullptr);
        EXPECT_EQ(frame->width, isFirst ? 128U : 256U);
        GevCloseCamera(&handle);
    }
}

/** A client of a camera that speaks to it by itself: control and nothing else. */
class OtherClient
{
public:
    OtherClient()
    {
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_port = htons(3956);
        to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const timeval patience{2, 0};
        setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        if (connect(socket_, reinterpret_cast<sockaddr*>(&to), sizeof to) != 0) {
            throw std::runtime_error("no socket to the camera");
        }
    }
    ~OtherClient() { close(socket_); }
    OtherClient(const OtherClient&) = delete;
    OtherClient& operator=(const OtherClient&) = delete;

    /** A write of the control register; false: no answer. */
    bool SetControl(std::uint8_t privilege)
    {
        const std::array<std::uint8_t, 16> question = {0x42, 1, 0,    0x82, 0, 8, 0, 1,
                                                       0,    0, 0x0A, 0,    0, 0, 0, privilege};
        std::array<std::uint8_t, 64> answer{};
        return send(socket_, question.data(), question.size(), 0) > 0 &&
               recv(socket_, answer.data(), answer.size(), 0) > 0;
    }

private:
    int socket_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

TEST_F(NetSession, ACameraThatSomebodyElseControlsIsNotOpened)
{
    Start("C1");
    ASSERT_TRUE(FindDevice("C1"));
    OtherClient other;
    ASSERT_TRUE(other.SetControl(2));
    void* none = &device;
    EXPECT_LT(TimeOf([&] { EXPECT_EQ(GevOpenCamera(&device, 2, &none), kGevAccessDenied); }),
              milliseconds(1000));
    EXPECT_EQ(none, nullptr);
    ASSERT_TRUE(other.SetControl(0));
    Open("C1");
    StartFor(2);
    Grab(2);
}

/** What came of so many waits. */
struct Yield {
    std::uint64_t complete = 0;
    std::uint64_t incomplete = 0;
    std::uint64_t gaps = 0; ///< numbers left out
};

class Losses : public NetSession
{
protected:
    Yield GrabAndCount(int waits)
    {
        Yield yield;
        std::uint32_t last = 0;
        std::uint64_t lastTime = 0;
        for (int i = 0; i < waits; ++i) {
            _tag_GEVBUF_ENTRY* frame = Next();
            if (frame == nullptr) {
                continue;
            }
            ++(status == kGevOk ? yield.complete : yield.incomplete);
            EXPECT_EQ(frame->status, status);
            if (frame->frameId != 0) { // that of a first frame may be lost
                EXPECT_GT(frame->frameId, last);
                yield.gaps += last == 0 ? 0 : frame->frameId - last - 1;
                last = frame->frameId;
            }
            if (frame->timestamp != 0) {
                EXPECT_GT(frame->timestamp, lastTime);
                lastTime = frame->timestamp;
            }
            GevReleaseFrame(handle, frame);
        }
        EXPECT_EQ(GevGetTransferStatistics(&counts), kGevOk);
        EXPECT_EQ(counts.framesReceived, yield.complete);
        EXPECT_EQ(counts.framesIncomplete, yield.incomplete);
        EXPECT_EQ(counts.framesLost + counts.underruns, yield.gaps);
        return yield;
    }

    GEV_TRANSFER_STATISTICS counts{};
};

TEST_F(Losses, LostPacketsAreCountedAndTheSessionGoesOn)
{
    Start("L1", "127.0.0.1", {"--lost-ratio", "0.03"});
    Open("L1");
    StartFor(8);
    const Yield yield = GrabAndCount(150);
    EXPECT_THAT(yield.complete, AllOf(Gt(50U), Lt(150U)));
    EXPECT_GT(yield.incomplete + yield.gaps, 0U);
    EXPECT_GT(counts.packetsMissing, 0U);
}

TEST_F(Losses, NumbersThatAreLeftOutAreLostFrames)
{
    Start("L2", "127.0.0.1", {"--skip-frames", "5"});
    Open("L2");
    StartFor(8);
    const Yield yield = GrabAndCount(41); // 1 to 4, 6 to 9, ..., 51
    EXPECT_GE(yield.gaps, 10U);           // all but those that found no buffer on a busy machine
    EXPECT_EQ(yield.complete + yield.incomplete, 41U);
}

TEST_F(NetSession, ChunksBringTheFramesOwnGainAndExposure)
{
    Start("C2", "127.0.0.1", {"--chunks"});
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
        _tag_GEVBUF_ENTRY* frame = Next();
        ASSERT_NE(frame, nullptr);
        EXPECT_EQ(status, kGevOk);
        EXPECT_EQ(frame->receivedBytes, kImage);
        EXPECT_EQ(frame->width, 64U);
        EXPECT_EQ(frame->chunkSize, payload - kImage);
        const auto* pixels = static_cast<const std::uint8_t*>(frame->address);
        EXPECT_EQ(frame->chunkData, pixels + kImage);
        EXPECT_LT(std::count(pixels, pixels + kImage, 0xEE), 100); // written over
        GevReleaseFrame(handle, frame);
    }
    // A frame that came before the gain was changed has its own, whatever the register says.
    const std::uint64_t before = PacketsReceived();
    constexpr std::uint64_t kPacketsOfTwoFrames = 12;
    while (PacketsReceived() < before + kPacketsOfTwoFrames) {
        std::this_thread::sleep_for(milliseconds(1));
    }
    Float("Gain")->SetValue(4);
    EXPECT_EQ(Float("Gain")->GetValue(), 4);
    Grab(1);
    EXPECT_EQ(Float("Gain")->GetValue(), 2);
    EXPECT_EQ(Float("ExposureTime")->GetValue(), 1000);
    for (int i = 0; i < 50 && Float("Gain")->GetValue() != 4; ++i) {
        Grab(1);
    }
    EXPECT_EQ(Float("Gain")->GetValue(), 4);
}

} // namespace
