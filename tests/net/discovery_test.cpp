/** Lists of cameras while somebody answers who is no camera. */
#include "gev_host.h"
#include "tests/net/loopback_camera.h"
#include "tests/platform/contract/camera_under_test.h"

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <chrono>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace
{

using testing::AllOf;
using testing::Ge;
using testing::Le;
using testing::SizeIs;

constexpr std::size_t kHeader = 8;
using Datagram = std::vector<std::uint8_t>;

/** An answer to the question who is there, with these texts. */
Datagram DiscoveryAnswer(std::uint32_t address, const std::string& serial,
                         const std::string& model = "Fake")
{
    constexpr std::size_t kBytes = 0xF8;
    Datagram answer(kHeader + kBytes);
    answer[3] = 0x03;
    answer[5] = kBytes;
    const auto put = [&](std::size_t at, const std::string& text) {
        std::copy(text.begin(), text.end(),
                  answer.begin() + static_cast<std::ptrdiff_t>(kHeader + at));
    };
    put(0x0A, {static_cast<char>(address >> 24), static_cast<char>(address >> 16),
               static_cast<char>(address >> 8), static_cast<char>(address), 1, 2}); // the MAC
    put(0x24, {static_cast<char>(address >> 24), static_cast<char>(address >> 16),
               static_cast<char>(address >> 8), static_cast<char>(address)});
    put(0x48, "DALSA");
    put(0x68, model);
    put(0xD8, serial);
    return answer;
}

/** Hears every question of this machine who is there. Each answer comes from an address of its own,
 *  as those of cameras do. */
class Answerer
{
public:
    /** Endless: goes on answering what was asked once. */
    explicit Answerer(const std::vector<std::pair<std::uint32_t, Datagram>>& answers,
                      bool endless = false)
        : endless_(endless), hears_(INADDR_BROADCAST)
    {
        for (const auto& [address, datagram] : answers) {
            answers_.emplace_back(std::make_unique<ControlPort>(address), datagram);
        }
        thread_ = std::thread([this] { Serve(); });
    }
    ~Answerer()
    {
        ends_ = true;
        thread_.join();
    }

private:
    struct ControlPort {
        explicit ControlPort(std::uint32_t address)
        {
            const int on = 1;
            setsockopt(handle, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
            const timeval longest{0, 10'000};
            setsockopt(handle, SOL_SOCKET, SO_RCVTIMEO, &longest, sizeof longest);
            sockaddr_in own{};
            own.sin_family = AF_INET;
            own.sin_port = htons(3956);
            own.sin_addr.s_addr = htonl(address);
            EXPECT_EQ(bind(handle, reinterpret_cast<const sockaddr*>(&own), sizeof own), 0);
        }
        ~ControlPort() { close(handle); }
        ControlPort(const ControlPort&) = delete;
        ControlPort& operator=(const ControlPort&) = delete;

        int handle = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    };

    void Serve()
    {
        sockaddr_in from{};
        Datagram question(64);
        for (bool asked = false; !ends_;) {
            socklen_t size = sizeof from;
            const bool goesOn = endless_ && asked;
            const bool came =
                recvfrom(hears_.handle, question.data(), question.size(), goesOn ? MSG_DONTWAIT : 0,
                         reinterpret_cast<sockaddr*>(&from), &size) >= 8;
            asked = asked || came;
            for (auto& [port, answer] : answers_) {
                if (came || goesOn) {
                    answer[6] = question[6]; // its number
                    answer[7] = question[7];
                    sendto(port->handle, answer.data(), answer.size(), 0,
                           reinterpret_cast<const sockaddr*>(&from), sizeof from);
                }
            }
        }
    }

    std::vector<std::pair<std::unique_ptr<ControlPort>, Datagram>> answers_;
    bool endless_;
    std::atomic<bool> ends_{false};
    ControlPort hears_;
    std::thread thread_;
};

constexpr std::uint32_t kNobody = 0x7F000A00; ///< 127.0.10.0 and what follows

class Discovery : public testing::Test
{
protected:
    void SetUp() override { UseNetworkCameras(); }

    static std::vector<GEV_DEVICE_INFO> List()
    {
        constexpr int kMost = 1000;
        std::vector<GEV_DEVICE_INFO> list(kMost);
        int count = 0;
        EXPECT_EQ(GevGetCameraList(list.data(), kMost, &count), kGevOk);
        list.resize(static_cast<std::size_t>(count));
        return list;
    }
};

TEST_F(Discovery, ListsWhatAnswersOnceEachWithTextsThatATerminalCanShow)
{
    const LoopbackCamera camera("R1");
    std::vector<std::pair<std::uint32_t, Datagram>> answers;
    const auto answer = [&](std::uint32_t number, const std::string& serial,
                            const std::string& model = "Fake", std::size_t bytes = 256) {
        answers.emplace_back(kNobody + number, DiscoveryAnswer(kNobody + number, serial, model));
        answers.back().second.resize(bytes);
    };
    answer(1, "T\x1B[2J\n", "\x07\xC2\x9B\xFFModel\r");
    answer(4, std::string(16, 'L')); // without a terminating zero
    answer(5, "");
    answer(2, "SAME");
    answer(2, "SAME");
    answer(3, "SAME");
    answer(6, "CUT", "Fake", 255);
    answer(7, "HEADER", "Fake", 8);
    answer(8, "LONG", "Fake", 1000);
    answer(9, "LIAR");
    answers.back().first = kNobody + 10;
    answer(11, "REFUSED");
    answers.back().second[0] = 0x80;
    const Answerer answerer(answers);
    std::vector<std::string> shown;
    for (const GEV_DEVICE_INFO& one : List()) {
        shown.push_back(one.model + std::string(" ") + one.serial + " " + one.address);
    }
    EXPECT_THAT(shown, testing::ElementsAre("????Model? T?[2J? 127.0.10.1",
                                            "Fake 7f:00:0a:05:01:02 127.0.10.5",
                                            "Fake LLLLLLLLLLLLLLLL 127.0.10.4",
                                            "Fake LONG 127.0.10.8", "Fake SAME 127.0.10.2",
                                            "Fake SAME 127.0.10.3", "Loopback R1 127.0.0.1"));
}

TEST_F(Discovery, AFloodOfAnswersIsBoundedInTimeAndNumber)
{
    std::vector<std::pair<std::uint32_t, Datagram>> answers;
    for (std::uint32_t i = 1; i <= 300; ++i) {
        answers.emplace_back(kNobody + i, DiscoveryAnswer(kNobody + i, "F" + std::to_string(i)));
    }
    const Answerer answerer(answers, true);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THAT(List(), SizeIs(AllOf(Ge(8U), Le(256U))));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}

} // namespace
