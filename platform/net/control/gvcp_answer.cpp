#include "net/control/gvcp_answer.h"

namespace net
{

namespace
{

using Kind = GvcpAnswer::Kind;

constexpr std::uint32_t kPending = 0x0089;
constexpr std::uint32_t kBusy = 0x8007;

} // namespace

std::uint32_t Take16(const std::uint8_t* from)
{
    return static_cast<std::uint32_t>(from[0]) << 8 | from[1];
}

std::uint32_t Take32(const std::uint8_t* from)
{
    return Take16(from) << 16 | Take16(from + 2);
}

GvcpAnswer ReadGvcpAnswer(const GvcpQuestion& question, std::span<const std::uint8_t> datagram)
{
    GvcpAnswer answer;
    if (datagram.size() < kGvcpHeader || Take16(datagram.data() + 6) != question.id) {
        return answer; // perhaps a late answer to a question that was given up
    }
    const std::uint32_t status = Take16(datagram.data());
    const std::uint32_t command = Take16(datagram.data() + 2);
    const std::span<const std::uint8_t> content = datagram.subspan(kGvcpHeader);
    if (command == kPending) {
        answer.kind = Kind::Pending;
        answer.more = std::chrono::milliseconds(content.size() < 4 ? 0U : Take16(&content[2]));
        return answer;
    }
    if (status == kBusy) {
        answer.kind = Kind::Busy;
        return answer;
    }
    if (command != question.command + 1U) {
        return answer;
    }
    if (status != 0) {
        answer.kind = Kind::Refused;
        answer.status = status;
        return answer;
    }
    const bool fits = question.size == 0 || content.size() == question.size;
    if (!fits || (question.isBlock && Take32(content.data()) != question.address)) {
        answer.kind = Kind::Malformed;
        return answer;
    }
    answer.kind = Kind::Given;
    answer.content = content;
    return answer;
}

} // namespace net
