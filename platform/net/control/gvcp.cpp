#include "net/control/gvcp.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace net
{

namespace
{

constexpr std::uint16_t kPort = 3956;
constexpr std::uint8_t kKey = 0x42;
constexpr std::uint8_t kAcknowledge = 0x01;
constexpr std::uint16_t kReadRegister = 0x0080;
constexpr std::uint16_t kReadMemory = 0x0084;
constexpr std::size_t kHeader = 8;
constexpr std::size_t kLargest = 548; ///< what any camera takes in one datagram

using Clock = std::chrono::steady_clock;

void Put16(std::uint8_t* to, std::uint32_t value)
{
    to[0] = static_cast<std::uint8_t>(value >> 8);
    to[1] = static_cast<std::uint8_t>(value);
}

void Put32(std::uint8_t* to, std::uint32_t value)
{
    Put16(to, value >> 16);
    Put16(to + 2, value & 0xFFFF);
}

std::uint32_t Take16(const std::uint8_t* from)
{
    return static_cast<std::uint32_t>(from[0]) << 8 | from[1];
}

std::uint32_t Take32(const std::uint8_t* from)
{
    return Take16(from) << 16 | Take16(from + 2);
}

} // namespace

GvcpClient::GvcpClient(std::uint32_t address)
    : socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    sockaddr_in camera{};
    camera.sin_family = AF_INET;
    camera.sin_port = htons(kPort);
    camera.sin_addr.s_addr = htonl(address);
    // Connected, so that the answer "nobody listens there" reaches us.
    if (socket_ >= 0 &&
        connect(socket_, reinterpret_cast<const sockaddr*>(&camera), sizeof camera) != 0) {
        close(socket_);
        socket_ = -1;
    }
}

GvcpClient::~GvcpClient()
{
    if (socket_ >= 0) {
        close(socket_);
    }
}

Answer GvcpClient::ReadRegister(std::uint32_t address, std::uint32_t* value, int timeoutMs)
{
    std::array<std::uint8_t, 4> question{};
    std::array<std::uint8_t, 4> answer{};
    Put32(question.data(), address);
    const Answer result = Ask(kReadRegister, question, answer, timeoutMs);
    if (result == Answer::Given) {
        *value = Take32(answer.data());
    }
    return result;
}

Answer GvcpClient::ReadMemory(std::uint32_t address, std::span<std::uint8_t> bytes, int timeoutMs)
{
    constexpr std::size_t kAddress = 4;
    std::array<std::uint8_t, 8> question{};
    std::array<std::uint8_t, kLargest> answer{};
    const std::size_t size = std::min(bytes.size(), kLargest - kHeader - kAddress);
    Put32(question.data(), address);
    Put16(question.data() + 6, static_cast<std::uint32_t>(size));
    const Answer result =
        Ask(kReadMemory, question, std::span(answer).first(kAddress + size), timeoutMs);
    if (result == Answer::Given) {
        std::copy_n(answer.begin() + kAddress, size, bytes.begin());
    }
    return result;
}

/** `answer` is what follows the header; a longer or shorter one is not ours. */
Answer GvcpClient::Ask(std::uint16_t command, std::span<const std::uint8_t> question,
                       std::span<std::uint8_t> answer, int timeoutMs)
{
    if (socket_ < 0) {
        return Answer::Refused;
    }
    requestId_ =
        requestId_ == 0xFFFF ? std::uint16_t{1} : static_cast<std::uint16_t>(requestId_ + 1);
    std::array<std::uint8_t, kLargest> packet{kKey, kAcknowledge};
    Put16(packet.data() + 2, command);
    Put16(packet.data() + 4, static_cast<std::uint32_t>(question.size()));
    Put16(packet.data() + 6, requestId_);
    std::copy(question.begin(), question.end(), packet.begin() + kHeader);
    if (send(socket_, packet.data(), kHeader + question.size(), 0) < 0) {
        return errno == ECONNREFUSED ? Answer::Refused : Answer::Silent;
    }
    const auto end = Clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd waiting{.fd = socket_, .events = POLLIN, .revents = 0};
        const int ready = poll(&waiting, 1, static_cast<int>(std::max<std::int64_t>(left, 0)));
        if (ready == 0) {
            return Answer::Silent;
        }
        const ssize_t size = recv(socket_, packet.data(), packet.size(), 0);
        if (size < 0 && errno == ECONNREFUSED) {
            return Answer::Refused;
        }
        const bool ours = size >= static_cast<ssize_t>(kHeader) &&
                          Take16(packet.data() + 2) == command + 1U &&
                          Take16(packet.data() + 6) == requestId_;
        if (!ours) {
            continue; // a late answer to a question that was given up
        }
        if (Take16(packet.data()) != 0 ||
            static_cast<std::size_t>(size) != kHeader + answer.size()) {
            return Answer::Refused;
        }
        std::copy_n(packet.begin() + kHeader, answer.size(), answer.begin());
        return Answer::Given;
    }
}

} // namespace net
