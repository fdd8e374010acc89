#include "tools/kvcam/chunk_sender.h"

#include <algorithm>
#include <array>
#include <bit>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

namespace kvcam
{

namespace
{

constexpr std::uint32_t kChunkPayload = 4;
constexpr std::uint32_t kPacketOverhead = 36; // IP, UDP and GVSP headers, bytes
constexpr std::uint32_t kImageChunk = 0x0F;
constexpr std::uint32_t kFirstChunk = 0x10; // the others follow in the order of ChunkSelector
constexpr std::uint32_t kByteBits = 8;

template <std::size_t Bytes> std::array<std::uint8_t, Bytes> BigEndian(std::uint64_t value)
{
    std::array<std::uint8_t, Bytes> bytes{};
    for (std::size_t i = Bytes; i-- > 0; value >>= kByteBits) {
        bytes[i] = static_cast<std::uint8_t>(value);
    }
    return bytes;
}

} // namespace

ChunkSender::ChunkSender(const std::string& address, double lostRatio) : lostRatio_(lostRatio)
{
    socket_.Bind(EndpointOf(address, 0));
}

void ChunkSender::Put32(std::uint32_t value)
{
    const auto bytes = BigEndian<sizeof value>(value);
    payload_.insert(payload_.end(), bytes.begin(), bytes.end());
}

void ChunkSender::Put64(std::uint64_t value)
{
    const auto bytes = BigEndian<sizeof value>(value);
    payload_.insert(payload_.end(), bytes.begin(), bytes.end());
}

void ChunkSender::PutTrailer(std::uint32_t id, std::uint32_t bytes)
{
    Put32(id);
    Put32(bytes);
}

void ChunkSender::Assemble(const Registers& registers, const FrameNotes& notes,
                           std::span<const std::uint8_t> image)
{
    const std::uint64_t values[] = {std::bit_cast<std::uint64_t>(registers.GetDouble(kGain)),
                                    std::bit_cast<std::uint64_t>(registers.GetDouble(kExposure)),
                                    notes.ticks, notes.number};
    payload_.assign(image.begin(), image.end());
    PutTrailer(kImageChunk, static_cast<std::uint32_t>(image.size()));
    for (std::uint32_t i = 0; i < std::size(values); ++i) {
        if (registers.Get(kChunkEnable + i * kNumberBytes) != 0) {
            Put64(values[i]);
            PutTrailer(kFirstChunk + i, sizeof values[i]);
        }
    }
}

void ChunkSender::SendPacket(std::uint32_t frameId, Content content,
                             std::span<const std::uint8_t> bytes)
{
    constexpr unsigned kContentShift = 24;
    const std::uint32_t kind = static_cast<std::uint32_t>(content) << kContentShift | packetId_++;
    if (std::uniform_real_distribution<>()(random_) < lostRatio_) {
        return;
    }
    auto header =
        BigEndian<8>(std::uint64_t{frameId} << 32 | kind); // the first two bytes: status 0
    iovec parts[] = {{header.data(), header.size()},
                     {const_cast<std::uint8_t*>(bytes.data()), bytes.size()}};
    msghdr message{};
    message.msg_name = &client_;
    message.msg_namelen = sizeof client_;
    message.msg_iov = parts;
    message.msg_iovlen = std::size(parts);
    while (sendmsg(socket_.Handle(), &message, 0) < 0 && errno == EAGAIN) {
        pollfd room{socket_.Handle(), POLLOUT, 0};
        poll(&room, 1, -1);
    }
}

void ChunkSender::Send(const Registers& registers, const FrameNotes& notes,
                       std::span<const std::uint8_t> image)
{
    client_.sin_family = AF_INET;
    client_.sin_addr.s_addr = htonl(registers.Get(kStreamAddress));
    client_.sin_port = htons(static_cast<std::uint16_t>(registers.Get(kStreamPort)));
    const std::uint32_t packetSize = registers.Get(kStreamPacketSize) & 0xFFFF;
    const std::size_t blockSize = std::max(packetSize, kPacketOverhead + 1) - kPacketOverhead;
    const std::uint32_t frameId = FrameIdOf(notes.number);
    Assemble(registers, notes, image);

    packetId_ = 0;
    const auto kind = BigEndian<4>(kChunkPayload);
    const auto ticks = BigEndian<8>(notes.ticks);
    std::array<std::uint8_t, 12> leader{};
    std::copy(ticks.begin(), ticks.end(), std::copy(kind.begin(), kind.end(), leader.begin()));
    SendPacket(frameId, Content::Leader, leader);
    for (std::span<const std::uint8_t> rest = payload_; !rest.empty();) {
        const std::size_t bytes = std::min(blockSize, rest.size());
        SendPacket(frameId, Content::Data, rest.first(bytes));
        rest = rest.subspan(bytes);
    }
    const auto trailer = BigEndian<8>(std::uint64_t{kChunkPayload} << 32 | payload_.size());
    SendPacket(frameId, Content::Trailer, trailer);
}

} // namespace kvcam
