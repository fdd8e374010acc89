// A simulated camera's frames as a client on loopback receives them.

#include "sim/camera/camera_model.h"
#include "tools/kvcam/stream/sim_acquisition.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <fmt/format.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

using Bytes = std::vector<std::uint8_t>;
using kvcam::Status;

/** A client that waits for packets. */
class Client
{
public:
    Client() : handle_(socket(AF_INET, SOCK_DGRAM, 0))
    {
        const timeval longest{.tv_sec = 60, .tv_usec = 0};
        setsockopt(handle_, SOL_SOCKET, SO_RCVTIMEO, &longest, sizeof longest);
        sockaddr_in own{};
        own.sin_family = AF_INET;
        own.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof own;
        EXPECT_EQ(bind(handle_, reinterpret_cast<sockaddr*>(&own), size), 0);
        EXPECT_EQ(getsockname(handle_, reinterpret_cast<sockaddr*>(&own), &size), 0);
        port_ = ntohs(own.sin_port);
    }
    ~Client() { close(handle_); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    std::uint16_t Port() const { return port_; }
    /** Empty when nothing came for a minute. The sender's port goes to `*from`. */
    Bytes Receive(std::uint16_t* from = nullptr) const
    {
        Bytes bytes(65536);
        sockaddr_in sender{};
        socklen_t size = sizeof sender;
        const ssize_t got = recvfrom(handle_, bytes.data(), bytes.size(), 0,
                                     reinterpret_cast<sockaddr*>(&sender), &size);
        bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        if (from != nullptr) {
            *from = ntohs(sender.sin_port);
        }
        return bytes;
    }

private:
    int handle_;
    std::uint16_t port_ = 0;
};

unsigned Number(const Bytes& bytes, std::size_t at)
{
    return bytes.at(at) * 256U + bytes.at(at + 1);
}

/** Status, block and number of a packet, and its length. */
std::string Shown(const Bytes& packet)
{
    return fmt::format("{:x} {} {} {}", Number(packet, 0), Number(packet, 2), Number(packet, 6),
                       packet.size());
}

class SimAcquisitionTest : public testing::TestWithParam<bool>
{
protected:
    static constexpr std::uint32_t kPacketSize = 536; // 3072 pixels: seven packets
    static constexpr int kPackets = 9;

    explicit SimAcquisitionTest(const kvcam::StreamSettings& settings = {.resendDepth = 2,
                                                                         .segments = GetParam()})
        : manual_(std::make_shared<sim::ManualClock>(0))
    {
        sim::ClearFaults();
        clock_.Set(manual_);
        sim::CameraSetup setup;
        setup.sensorWidth = 64;
        setup.sensorHeight = 48;
        setup.picture = sim::Picture::Plain;
        setup.values = {{"TriggerMode", "On"}, {"TriggerSource", "Software"}};
        model_ = std::make_unique<sim::CameraModel>(setup, clock_);
        acquisition_ = std::make_unique<kvcam::SimAcquisition>(*model_, INADDR_LOOPBACK, settings);
        acquisition_->SetTarget(
            {.address = INADDR_LOOPBACK, .port = client_.Port(), .packetSize = kPacketSize});
    }
    ~SimAcquisitionTest() override { sim::ClearFaults(); }

    void Trigger()
    {
        manual_->AdvanceNs(1'000'000'000);
        const genapi::AccessScope scope(*model_);
        model_->Frames().Advance(clock_.NowNs()); // it isn't busy any more
        model_->Features().trigger.Fired();
    }
    /** The packets of one frame. */
    std::vector<Bytes> Grab(int packets = kPackets)
    {
        Trigger();
        std::vector<Bytes> frame;
        for (int i = 0; i < packets; ++i) {
            frame.push_back(client_.Receive());
        }
        return frame;
    }
    std::string Again(std::uint64_t block, std::uint32_t first, std::uint32_t last)
    {
        acquisition_->Resend({block, first, last});
        return Shown(client_.Receive());
    }

    Client client_;
    sim::NetworkClock clock_;
    std::shared_ptr<sim::ManualClock> manual_;
    std::unique_ptr<sim::CameraModel> model_;
    std::unique_ptr<kvcam::SimAcquisition> acquisition_;
};

TEST_P(SimAcquisitionTest, SendsFramesAndSendsThemAgain)
{
    ASSERT_EQ(acquisition_->Start(kvcam::Acquisition::kForEver), Status::Done);
    const std::vector<Bytes> frame = Grab();
    std::size_t pixels = 0;
    for (int packet = 0; packet < kPackets; ++packet) {
        const Bytes& bytes = frame[static_cast<std::size_t>(packet)];
        ASSERT_EQ(Number(bytes, 2), 1U);
        ASSERT_EQ(Number(bytes, 6), packet);
        const bool framed = packet == 0 || packet == kPackets - 1;
        for (std::size_t i = 8; !framed && i < bytes.size(); ++i, ++pixels) {
            ASSERT_EQ(bytes[i], pixels & 0xFF);
        }
    }
    EXPECT_EQ(pixels, 64U * 48U);

    acquisition_->Resend({1, 7, 0xFFFFFF});
    for (std::size_t packet = 7; packet < kPackets; ++packet) {
        std::uint16_t from = 0;
        Bytes again = client_.Receive(&from);
        EXPECT_EQ(from, acquisition_->OwnPort());
        EXPECT_EQ(Number(again, 0), kvcam::kResent);
        again[0] = 0; // the status
        EXPECT_EQ(again, frame[packet]);
    }
    EXPECT_EQ(Again(1, 9, 9), "800c 1 9 8");
    EXPECT_EQ(Again(2, 4, 4), "8010 2 4 8");

    Grab();
    sim::AddFault({.trigger = sim::Trigger::Frame, .effect = sim::Effect::Lose});
    Trigger(); // the third, which is lost
    EXPECT_EQ(Number(Grab()[0], 2), 4U);
    EXPECT_EQ(Again(1, 2, 5), "8011 1 5 8");
    EXPECT_EQ(Again(3, 2, 2), "8012 3 2 8");
    EXPECT_EQ(Again(2, 2, 2), "100 2 2 508");

    sim::AddFault({.trigger = sim::Trigger::Frame, .effect = sim::Effect::Incomplete});
    const std::vector<Bytes> half = Grab(5);
    EXPECT_EQ(Shown(half[3]), "0 5 3 508");
    EXPECT_EQ(Shown(half[4]), "0 5 8 16");
    EXPECT_EQ(Again(5, 4, 4), "800c 5 4 8");

    acquisition_->SendTestPacket();
    EXPECT_EQ(client_.Receive().size() + 28, kPacketSize);

    EXPECT_EQ(acquisition_->Stop(), Status::Done);
    EXPECT_FALSE(acquisition_->IsRunning());
    EXPECT_EQ(Again(5, 1, 1), "100 5 1 508");
    ASSERT_EQ(acquisition_->Start(kvcam::Acquisition::kForEver), Status::Done);
    EXPECT_EQ(Number(Grab()[0], 2), 1U);
}

TEST_P(SimAcquisitionTest, EndsByItselfAfterTheFramesThatWereAskedFor)
{
    sim::AddFault({.trigger = sim::Trigger::Frame, .nth = 2, .effect = sim::Effect::Lose});
    for (int start = 0; start < 2; ++start) {
        ASSERT_EQ(acquisition_->Start(2), Status::Done);
        Grab();
        if (start == 0) {
            Trigger(); // the frame that is lost counts, too
        } else {
            EXPECT_EQ(Number(Grab()[0], 2), 2U);
        }
        while (acquisition_->IsRunning()) {
            manual_->AdvanceNs(1'000'000); // the camera waits on it
        }
    }
}

TEST_P(SimAcquisitionTest, SendsNotMorePacketsAgainThanItSent)
{
    ASSERT_EQ(acquisition_->Start(kvcam::Acquisition::kForEver), Status::Done);
    Grab();
    for (int i = 0; i < 5000; ++i) { // more than the queue takes
        acquisition_->Resend({1, 0, 0xFFFFFF});
    }
    int again = 0;
    while (again < kPackets) {
        EXPECT_EQ(Number(client_.Receive(), 0), kvcam::kResent);
        ++again;
    }
    Trigger();
    for (Bytes bytes = client_.Receive(); Shown(bytes) != "0 2 8 16"; bytes = client_.Receive()) {
        again += Number(bytes, 0) == kvcam::kResent ? 1 : 0;
    }
    EXPECT_LE(again, 2 * kPackets); // two frames have been sent
}

INSTANTIATE_TEST_SUITE_P(Segments, SimAcquisitionTest, testing::Bool());

} // namespace
