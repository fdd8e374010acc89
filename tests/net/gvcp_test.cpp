/** What counts as an answer of a camera, and what it means. */
#include "net/control/gvcp.h"

#include <arpa/inet.h>
#include <array>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace
{

using net::Answer;
using std::chrono::milliseconds;

constexpr std::uint32_t kLoopback = INADDR_LOOPBACK;
constexpr std::uint8_t kValue = 7;

/** Answers as its script says, one letter at a time. A: the value; E: an error; B: that it is busy;
 *  L: less than was asked for; S: nothing; each until it is asked again. O: to an older question;
 * P: that it needs two minutes, and then half a second without more; each before the next letter.
 */
class ScriptedCamera
{
public:
    explicit ScriptedCamera(std::string script) : script_(std::move(script))
    {
        const sockaddr_in port{.sin_family = AF_INET,
                               .sin_port = htons(3956),
                               .sin_addr = {htonl(kLoopback)},
                               .sin_zero = {}};
        if (bind(socket_, reinterpret_cast<const sockaddr*>(&port), sizeof port) != 0) {
            ADD_FAILURE() << "the port is taken";
        }
        thread_ = std::thread([this] { Serve(); });
    }
    ~ScriptedCamera()
    {
        shutdown(socket_, SHUT_RDWR);
        thread_.join();
        close(socket_);
    }

private:
    void Serve()
    {
        std::array<std::uint8_t, 64> asked{};
        sockaddr_in from{};
        socklen_t size = sizeof from;
        std::size_t next = 0;
        while (recvfrom(socket_, asked.data(), asked.size(), 0, reinterpret_cast<sockaddr*>(&from),
                        &size) > 0) {
            for (bool more = true; more && next < script_.size(); ++next) {
                more = script_[next] == 'O' || script_[next] == 'P';
                Reply(script_[next], asked[7], from);
            }
        }
    }
    void Reply(char how, std::uint8_t number, const sockaddr_in& to) const
    {
        std::array<std::uint8_t, 12> packet{0, 0, 0, 0x81, 0, 4, 0, number, 0, 0, 0, kValue};
        if (how == 'E' || how == 'B') {
            packet[0] = 0x80;
            packet[1] = how == 'E' ? 0x06 : 0x07; // access denied; busy
        } else if (how == 'P') {
            packet[3] = 0x89;
            packet[10] = 0xFF;
        } else if (how == 'O') {
            packet[7] = static_cast<std::uint8_t>(number + 9);
        }
        if (how != 'S') {
            sendto(socket_, packet.data(), packet.size() - (how == 'L' ? 1 : 0), 0,
                   reinterpret_cast<const sockaddr*>(&to), sizeof to);
        }
        if (how == 'P') {
            std::this_thread::sleep_for(milliseconds(500)); // longer than the client's usual time
        }
    }

    std::string script_;
    int socket_ = socket(AF_INET, SOCK_DGRAM, 0);
    std::thread thread_;
};

TEST(Gvcp, EveryAnswerIsUnderstoodAndIsASignOfLife)
{
    constexpr milliseconds kShort(300);
    constexpr milliseconds kLong(20'000);
    const struct {
        const char* script;
        milliseconds time;
        Answer answer;
    } kRows[] = {
        {"A", kLong, Answer::Given},   {"E", kLong, Answer::Denied},  {"BBA", kLong, Answer::Given},
        {"SA", kLong, Answer::Given},  {"PA", kShort, Answer::Given}, {"OA", kLong, Answer::Given},
        {"O", kShort, Answer::Silent}, {"S", kShort, Answer::Silent}, {"L", kLong, Answer::Denied},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.script);
        const ScriptedCamera camera(row.script);
        net::GvcpClient client(kLoopback);
        const auto before = client.HeardAt();
        std::uint32_t value = 0;
        EXPECT_EQ(client.ReadRegister(net::kControlPrivilege, &value, {.usual = row.time}),
                  row.answer);
        EXPECT_EQ(value, row.answer == Answer::Given ? kValue : 0);
        EXPECT_EQ(client.HeardAt() > before, std::string(row.script) != "S");
    }
    {
        const ScriptedCamera camera("PPPP"); // which only asks for more time
        net::GvcpClient client(kLoopback);
        std::uint32_t value = 0;
        const auto begin = net::GvcpClient::Clock::now();
        EXPECT_EQ(client.ReadRegister(net::kControlPrivilege, &value,
                                      {.usual = kShort, .mostPending = milliseconds(900)}),
                  Answer::Silent);
        EXPECT_LT(net::GvcpClient::Clock::now() - begin, kLong);
    }
    net::GvcpClient client(kLoopback); // where nobody listens
    EXPECT_EQ(client.WriteRegister(net::kControlPrivilege, 2, {.usual = kLong}), Answer::Refused);
}

} // namespace
