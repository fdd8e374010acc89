#include "net/control/gvcp.h"

#include "core/interruption.h"
#include "net/control/gvcp_answer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace net
{

namespace
{

using std::chrono::milliseconds;

constexpr std::uint16_t kPort = 3956;
constexpr std::uint8_t kKey = 0x42;
constexpr std::uint8_t kAcknowledge = 0x01;
constexpr std::uint16_t kReadRegister = 0x0080;
constexpr std::uint16_t kWriteRegister = 0x0082;
constexpr std::uint16_t kReadMemory = 0x0084;
constexpr std::uint16_t kWriteMemory = 0x0086;
constexpr std::size_t kAddress = 4;
constexpr std::size_t kLargest = 548; ///< what any camera takes in one datagram
/** After which an unanswered question is sent again. One that only reads is so sooner at first,
 * since datagrams get lost; then it waits twice as long each time, since a camera may just be slow.
 */
constexpr milliseconds kRepeat(500);
constexpr milliseconds kFirstRepeat(60);
constexpr milliseconds kBusyPause(20);
constexpr int kRefusals = 2; ///< in a row; the first one may be about an older question
constexpr milliseconds kLookForInterruption(gevplat::kLookForInterruptionNs / 1'000'000);

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

} // namespace

/** One question and what is known about its answer. */
struct GvcpClient::Exchange {
    GvcpQuestion question;
    std::span<std::uint8_t> answer;
    AnswerTime time;
    Clock::time_point begin = Clock::now();
    Clock::time_point end = begin + time.usual;
    Clock::time_point repeatAt{};
    int refusals = 0;
    bool isNew = true;    ///< it needs a number of its own
    bool pending = false; ///< the camera has the question and asked for more time

    /** When waiting ends, as things are now. */
    Clock::time_point End() const
    {
        if (time.leave != nullptr && time.leave->load(std::memory_order_acquire)) {
            return begin;
        }
        return gevplat::Interruption::IsOn() ? std::min(end, begin + time.interrupted) : end;
    }
    Answer Unanswered() const
    {
        const bool atOnce = time.interrupted == milliseconds(0);
        return atOnce && gevplat::Interruption::IsOn() ? Answer::Interrupted : Answer::Silent;
    }
};

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

std::uint32_t GvcpClient::OwnAddress() const
{
    sockaddr_in own{};
    socklen_t size = sizeof own;
    const bool known =
        socket_ >= 0 && getsockname(socket_, reinterpret_cast<sockaddr*>(&own), &size) == 0;
    return known ? ntohl(own.sin_addr.s_addr) : 0;
}

Answer GvcpClient::ReadRegister(std::uint32_t address, std::uint32_t* value, AnswerTime time)
{
    std::array<std::uint8_t, kAddress> question{};
    std::array<std::uint8_t, 4> answer{};
    Put32(question.data(), address);
    const Answer result = Ask(kReadRegister, question, answer, time);
    if (result == Answer::Given) {
        *value = Take32(answer.data());
    }
    return result;
}

Answer GvcpClient::WriteRegister(std::uint32_t address, std::uint32_t value, AnswerTime time)
{
    std::array<std::uint8_t, kAddress + 4> question{};
    Put32(question.data(), address);
    Put32(question.data() + kAddress, value);
    return Ask(kWriteRegister, question, {}, time);
}

Answer GvcpClient::ReadMemory(std::uint32_t address, std::span<std::uint8_t> bytes, AnswerTime time)
{
    std::array<std::uint8_t, kAddress + 4> question{};
    std::array<std::uint8_t, kAddress + kLargestBlock> answer{};
    const std::size_t size = std::min(bytes.size(), kLargestBlock);
    Put32(question.data(), address);
    Put16(question.data() + 6, static_cast<std::uint32_t>(size));
    const Answer result =
        Ask(kReadMemory, question, std::span(answer).first(kAddress + size), time);
    if (result == Answer::Given) {
        std::copy_n(answer.begin() + kAddress, size, bytes.begin());
    }
    return result;
}

Answer GvcpClient::WriteMemory(std::uint32_t address, std::span<const std::uint8_t> bytes,
                               AnswerTime time)
{
    std::array<std::uint8_t, kAddress + kLargestBlock> question{};
    const std::size_t size = std::min(bytes.size(), kLargestBlock);
    Put32(question.data(), address);
    std::copy_n(bytes.begin(), size, question.begin() + kAddress);
    return Ask(kWriteMemory, std::span(question).first(kAddress + size), {}, time);
}

/** `answer` is what follows the header; empty: that doesn't matter. The question goes out at least
 *  once, unless the cameras are interrupted and it is not to be asked then. */
Answer GvcpClient::Ask(std::uint16_t command, std::span<const std::uint8_t> question,
                       std::span<std::uint8_t> answer, AnswerTime time)
{
    if (socket_ < 0) {
        return Answer::Refused;
    }
    Exchange exchange{.question = {.command = command,
                                   .id = 0,
                                   .size = answer.size(),
                                   .isBlock = command == kReadMemory,
                                   .address = Take32(question.data())},
                      .answer = answer,
                      .time = time};
    if (exchange.Unanswered() == Answer::Interrupted) {
        return Answer::Interrupted;
    }
    std::array<std::uint8_t, kLargest> packet{kKey, kAcknowledge};
    Put16(packet.data() + 2, command);
    Put16(packet.data() + 4, static_cast<std::uint32_t>(question.size()));
    std::copy(question.begin(), question.end(), packet.begin() + kGvcpHeader);
    Answer result = Answer::Silent;
    const bool reads = command == kReadRegister || command == kReadMemory;
    milliseconds repeat = reads ? kFirstRepeat : kRepeat;
    do {
        if (exchange.isNew) {
            requestId_ = static_cast<std::uint16_t>(requestId_ % 0xFFFF + 1);
            Put16(packet.data() + 6, requestId_);
            exchange.question.id = requestId_;
            exchange.isNew = false;
        }
        while (!exchange.pending &&
               send(socket_, packet.data(), kGvcpHeader + question.size(), 0) < 0 &&
               errno == ECONNREFUSED) { // about what was sent before; this was not sent
            if (++exchange.refusals == kRefusals) {
                return Answer::Refused;
            }
        }
        exchange.repeatAt = Clock::now() + repeat;
        repeat = std::min(2 * repeat, kRepeat);
        result = Receive(exchange);
    } while (result == Answer::Silent && Clock::now() < exchange.End());
    return result == Answer::Silent ? exchange.Unanswered() : result;
}

/** Silent: it is time to ask again, or to give up. */
Answer GvcpClient::Receive(Exchange& exchange)
{
    std::array<std::uint8_t, kLargest> packet{};
    for (;;) {
        const auto end =
            exchange.pending ? exchange.End() : std::min(exchange.End(), exchange.repeatAt);
        const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
        const auto slice = std::clamp(left, milliseconds(0), kLookForInterruption);
        pollfd waiting{.fd = socket_, .events = POLLIN, .revents = 0};
        if (poll(&waiting, 1, static_cast<int>(slice.count())) <= 0) {
            if (left <= slice) {
                return Answer::Silent;
            }
            continue;
        }
        const ssize_t size = recv(socket_, packet.data(), packet.size(), 0);
        if (size < 0) {
            if (errno != ECONNREFUSED) {
                continue;
            }
            return ++exchange.refusals >= kRefusals ? Answer::Refused : Answer::Silent;
        }
        Answer result = Answer::Silent;
        if (TakeUp(exchange, std::span(packet).first(static_cast<std::size_t>(size)), &result)) {
            return result;
        }
        if (left <= milliseconds(0)) { // however much more has come
            return Answer::Silent;
        }
    }
}

/** True: `*result` is what the exchange comes to, Silent to ask again. */
bool GvcpClient::TakeUp(Exchange& exchange, std::span<const std::uint8_t> packet, Answer* result)
{
    if (packet.size() < kGvcpHeader) {
        return false;
    }
    heardAt_ = Clock::now();
    exchange.refusals = 0;
    const GvcpAnswer answer = ReadGvcpAnswer(exchange.question, packet);
    switch (answer.kind) {
    case GvcpAnswer::Kind::Stray:
        return false;
    case GvcpAnswer::Kind::Pending:
        exchange.pending = true;
        exchange.end =
            std::min(std::max(exchange.end, heardAt_ + answer.more),
                     exchange.begin + std::max(exchange.time.usual, exchange.time.mostPending));
        return false;
    case GvcpAnswer::Kind::Busy:
        // Under a new number: a camera answers a question that it knows as it did before.
        std::this_thread::sleep_for(kBusyPause);
        exchange.isNew = true;
        return true;
    case GvcpAnswer::Kind::Refused:
    case GvcpAnswer::Kind::Malformed:
        error_ = answer.status;
        *result = Answer::Denied;
        return true;
    case GvcpAnswer::Kind::Given:
        std::copy_n(answer.content.begin(), exchange.answer.size(), exchange.answer.begin());
        *result = Answer::Given;
        return true;
    }
    return false;
}

} // namespace net
