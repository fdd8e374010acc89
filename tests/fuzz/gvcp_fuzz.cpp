/** Takes any datagram for the answer to a question. The first 12 bytes are the question. */
#include "net/control/gvcp_answer.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t kQuestion = 12;
    if (size < kQuestion) {
        return 0;
    }
    net::GvcpQuestion question;
    question.command = static_cast<std::uint16_t>(net::Take16(data));
    question.id = static_cast<std::uint16_t>(net::Take16(data + 2));
    question.address = net::Take32(data + 4);
    question.isBlock = question.command == 0x0084;
    question.size = net::Take16(data + 8) + (question.isBlock ? sizeof question.address : 0U);
    const std::span datagram(data + kQuestion, size - kQuestion);
    const net::GvcpAnswer answer = ReadGvcpAnswer(question, datagram);
    using Kind = net::GvcpAnswer::Kind;
    const bool given = answer.kind == Kind::Given;
    unsigned sum = 0;
    for (const std::uint8_t byte : answer.content) {
        sum += byte;
    }
    if (sum > 0xFF * answer.content.size() || // never; it makes the sanitizer look at each byte
        (given && question.size != 0 && answer.content.size() != question.size) ||
        (!given && !answer.content.empty()) ||
        (answer.kind == Kind::Refused) != (answer.status != 0)) {
        std::abort();
    }
    return 0;
}
