/** What the commands do: accesses to the camera's memory, and who may make them. */
#include "tools/kvcam/control/command_desk.h"

#include <array>

namespace kvcam
{

namespace
{

constexpr std::size_t kForceIpBytes = 56;
constexpr std::size_t kForceIpMac = 2;
constexpr std::size_t kForceIpAddress = 20;
constexpr std::size_t kResendBytes = 12;
constexpr std::size_t kExtendedResendBytes = 20;
constexpr std::uint32_t kExclusive = 1;
constexpr std::uint32_t kControl = 2;

} // namespace

CommandDesk::Answer CommandDesk::Execute(const Request& request, Endpoint from, std::int64_t nowNs)
{
    if (!request.wellFormed) {
        return {Status::InvalidHeader, {}};
    }
    switch (static_cast<Command>(request.command)) {
    case Command::Discovery: {
        Answer answer{Status::Done, Bytes(kDiscoveryBytes)};
        camera_.bootstrap.Read(0, answer.body);
        return answer;
    }
    case Command::ForceIp:
        return ForceIp(request);
    case Command::PacketResend:
        Resend(request, from);
        return {Status::NoAnswer, {}};
    case Command::ReadReg:
        return ReadRegisters(request, from);
    case Command::WriteReg:
        return WriteRegisters(request, from, nowNs);
    case Command::ReadMem:
        return ReadMemory(request, from);
    case Command::WriteMem:
        return WriteMemory(request, from, nowNs);
    case Command::PendingAck:
        break;
    }
    return {Status::NotImplemented, {}};
}

/** A camera on an address of this machine can't take another one. The command is for the one whose
 *  MAC it names. */
CommandDesk::Answer CommandDesk::ForceIp(const Request& request)
{
    if (request.body.size() != kForceIpBytes) {
        return {Status::InvalidHeader, {}};
    }
    const Bootstrap& own = camera_.bootstrap;
    if (Get16(request.body, kForceIpMac) != own.Get(kMacRegister) ||
        Get32(request.body, kForceIpMac + 2) != own.Get(kMacRegister + 4)) {
        return {Status::NoAnswer, {}};
    }
    const bool stays = Get32(request.body, kForceIpAddress) == own.Get(kAddressRegister);
    return {stays ? Status::Done : Status::InvalidParameter, {}};
}

/** On an error, the answer has the values before the one that can't be read. */
CommandDesk::Answer CommandDesk::ReadRegisters(const Request& request, Endpoint from)
{
    Answer answer;
    if (request.body.empty() || request.body.size() % 4 != 0) {
        return {Status::InvalidHeader, {}};
    }
    for (std::size_t at = 0; at < request.body.size(); at += 4) {
        std::array<std::uint8_t, 4> value{};
        answer.status = Read(Get32(request.body, at), value, from);
        if (answer.status != Status::Done) {
            break;
        }
        answer.body.insert(answer.body.end(), value.begin(), value.end());
    }
    return answer;
}

CommandDesk::Answer CommandDesk::WriteRegisters(const Request& request, Endpoint from,
                                                std::int64_t nowNs)
{
    constexpr std::size_t kPair = 8;
    Answer answer;
    if (request.body.empty() || request.body.size() % kPair != 0) {
        return {Status::InvalidHeader, {}};
    }
    std::uint32_t written = 0;
    for (std::size_t at = 0; at < request.body.size(); at += kPair) {
        const ByteView value = ByteView(request.body).subspan(at + 4, 4);
        answer.status = Write(Get32(request.body, at), value, from, nowNs);
        if (answer.status != Status::Done) {
            break;
        }
        ++written;
    }
    Append16(answer.body, 0);
    Append16(answer.body, written);
    return answer;
}

CommandDesk::Answer CommandDesk::ReadMemory(const Request& request, Endpoint from)
{
    constexpr std::size_t kBody = 8;
    if (request.body.size() != kBody) {
        return {Status::InvalidHeader, {}};
    }
    const std::size_t count = Get16(request.body, 6);
    if (count == 0 || count > kMostDataBytes) {
        return {Status::InvalidParameter, {}};
    }
    Bytes bytes(count);
    const std::uint32_t address = Get32(request.body, 0);
    Answer answer;
    answer.status = Read(address, bytes, from);
    if (answer.status == Status::Done) {
        Append32(answer.body, address);
        answer.body.insert(answer.body.end(), bytes.begin(), bytes.end());
    }
    return answer;
}

CommandDesk::Answer CommandDesk::WriteMemory(const Request& request, Endpoint from,
                                             std::int64_t nowNs)
{
    constexpr std::size_t kAddress = 4;
    if (request.body.size() <= kAddress) {
        return {Status::InvalidHeader, {}};
    }
    const ByteView bytes = ByteView(request.body).subspan(kAddress);
    Answer answer;
    answer.status = Write(Get32(request.body, 0), bytes, from, nowNs);
    Append16(answer.body, 0);
    Append16(answer.body,
             answer.status == Status::Done ? static_cast<std::uint32_t>(bytes.size()) : 0U);
    return answer;
}

/** From any port of the host that controls the camera or receives the stream. Nothing answers. */
void CommandDesk::Resend(const Request& request, Endpoint from)
{
    const bool extended = (request.flags & kExtendedIdsFlag) != 0;
    const StreamTarget& target = camera_.bootstrap.Target();
    const bool entitled = (controller_ && controller_->address == from.address) ||
                          (target.port != 0 && target.address == from.address);
    if (!entitled || request.body.size() != (extended ? kExtendedResendBytes : kResendBytes) ||
        Get16(request.body, 0) != 0) {
        return;
    }
    ResendRange range;
    range.block = Get16(request.body, 2);
    range.first = Get32(request.body, 4);
    range.last = Get32(request.body, 8);
    if (extended) {
        range.block =
            static_cast<std::uint64_t>(Get32(request.body, 12)) << 32 | Get32(request.body, 16);
    }
    if (range.first <= range.last) {
        camera_.acquisition.Resend(range);
    }
}

/** Null: no part has all of these addresses. */
Memory* CommandDesk::PartOf(std::uint32_t address, std::size_t bytes) const
{
    MemoryPart part{0, &camera_.bootstrap};
    std::uint64_t end = std::uint64_t{1} << 32;
    for (const MemoryPart& next : camera_.parts) {
        if (next.base > address) {
            end = next.base;
            break;
        }
        part = next;
    }
    return address + std::uint64_t{bytes} <= end ? part.memory : nullptr;
}

Status CommandDesk::Read(std::uint32_t address, std::span<std::uint8_t> bytes, Endpoint from)
{
    const bool exclusive = (camera_.bootstrap.Get(kControlRegister) & kExclusive) != 0;
    if (exclusive && controller_ != from) {
        return Status::AccessDenied;
    }
    if (address % 4 != 0 || bytes.size() % 4 != 0) {
        return Status::BadAlignment;
    }
    Memory* const part = PartOf(address, bytes.size());
    return part == nullptr ? Status::InvalidAddress : part->Read(address, bytes);
}

Status CommandDesk::Write(std::uint32_t address, ByteView bytes, Endpoint from, std::int64_t nowNs)
{
    if (address == kControlRegister && bytes.size() == 4) {
        return WritePrivilege(Get32(bytes, 0), from, nowNs);
    }
    if (controller_ != from) {
        return Status::AccessDenied;
    }
    if (address % 4 != 0 || bytes.size() % 4 != 0) {
        return Status::BadAlignment;
    }
    Memory* const part = PartOf(address, bytes.size());
    return part == nullptr ? Status::InvalidAddress : part->Write(address, bytes);
}

Status CommandDesk::WritePrivilege(std::uint32_t value, Endpoint from, std::int64_t nowNs)
{
    if (controller_ && controller_ != from) {
        return Status::AccessDenied;
    }
    if ((value & ~(kExclusive | kControl)) != 0) {
        return Status::InvalidParameter;
    }
    if (value == 0) {
        if (controller_) {
            GiveControlBack();
        }
        return Status::Done;
    }
    controller_ = from;
    lastBeatNs_ = nowNs;
    camera_.bootstrap.ShowPrivilege(value);
    return Status::Done;
}

void CommandDesk::GiveControlBack()
{
    controller_.reset();
    camera_.bootstrap.ShowPrivilege(0);
    camera_.acquisition.Stop();
    camera_.bootstrap.CloseStream();
}

} // namespace kvcam
