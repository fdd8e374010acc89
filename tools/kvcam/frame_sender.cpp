#include "tools/kvcam/frame_sender.h"

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

constexpr std::uint32_t kPacketOverhead = 36;     // IP, UDP and GVSP headers, bytes
constexpr std::uint32_t kWidePacketOverhead = 48; // the same with frame numbers of 64 bits
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

FrameSender::FrameSender(const std::string& address, const Losses& losses, bool wideNumbers)
    : losses_(losses), wideNumbers_(wideNumbers)
{
    socket_.Bind(EndpointOf(address, 0));
}

void FrameSender::Put32(std::uint32_t value)
{
    const auto bytes = BigEndian<sizeof value>(value);
    payload_.insert(payload_.end(), bytes.begin(), bytes.end());
}

void FrameSender::Put64(std::uint64_t value)
{
    const auto bytes = BigEndian<sizeof value>(value);
    payload_.insert(payload_.end(), bytes.begin(), bytes.end());
}

void FrameSender::PutTrailer(std::uint32_t id, std::uint32_t bytes)
{
    Put32(id);
    Put32(bytes);
}

/** Behind the image, which the payload already has. */
void FrameSender::AddChunks(const Registers& registers, const FrameNotes& notes)
{
    const std::uint64_t values[] = {std::bit_cast<std::uint64_t>(registers.GetDouble(kGain)),
                                    std::bit_cast<std::uint64_t>(registers.GetDouble(kExposure)),
                                    notes.ticks, notes.number};
    PutTrailer(kImageChunk, static_cast<std::uint32_t>(payload_.size()));
    for (std::uint32_t i = 0; i < std::size(values); ++i) {
        if (registers.Get(kChunkEnable + i * kNumberBytes) != 0) {
            Put64(values[i]);
            PutTrailer(kFirstChunk + i, sizeof values[i]);
        }
    }
}

bool FrameSender::IsLost(std::uint32_t number)
{
    return (losses_.packet == packetId_ && number % losses_.frames == 0) ||
           std::uniform_real_distribution<>()(random_) < losses_.ratio;
}

/** The first two bytes, the status, are 0. Narrow headers leave the rest unused. */
FrameSender::Header FrameSender::HeaderOf(const FrameNotes& notes, Content content,
                                          std::uint32_t packet) const
{
    constexpr unsigned kHalf = 32;
    constexpr unsigned kContentShift = 24;
    constexpr std::uint32_t kWide = 0x80000000;
    constexpr std::uint64_t kBehind32Bits = std::uint64_t{1} << kHalf;
    const std::uint32_t kind = static_cast<std::uint32_t>(content) << kContentShift;
    Header header{};
    if (!wideNumbers_) {
        const auto bytes =
            BigEndian<kNarrowHeader>(std::uint64_t{notes.id} << kHalf | kind | packet);
        std::copy(bytes.begin(), bytes.end(), header.begin());
        return header;
    }
    const auto start = BigEndian<sizeof(std::uint64_t)>(kind | kWide);
    const auto number = BigEndian<sizeof(std::uint64_t)>(kBehind32Bits + notes.number);
    const auto end = BigEndian<sizeof packet>(packet);
    std::copy(end.begin(), end.end(),
              std::copy(number.begin(), number.end(),
                        std::copy(start.begin(), start.end(), header.begin())));
    return header;
}

void FrameSender::SendPacket(const FrameNotes& notes, Content content,
                             std::span<const std::uint8_t> bytes)
{
    const bool lost = IsLost(notes.number);
    const std::uint32_t packet = packetId_++;
    if (lost) {
        return;
    }
    auto header = HeaderOf(notes, content, packet);
    const std::size_t headerBytes = wideNumbers_ ? header.size() : kNarrowHeader;
    iovec parts[] = {{header.data(), headerBytes},
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

void FrameSender::Send(const Registers& registers, const FrameNotes& notes,
                       std::uint32_t payloadType, std::span<const std::uint8_t> image)
{
    client_.sin_family = AF_INET;
    client_.sin_addr.s_addr = htonl(registers.Get(kStreamAddress));
    client_.sin_port = htons(static_cast<std::uint16_t>(registers.Get(kStreamPort)));
    const std::uint32_t packetSize = registers.Get(kStreamPacketSize) & 0xFFFF;
    const std::uint32_t overhead = wideNumbers_ ? kWidePacketOverhead : kPacketOverhead;
    const std::size_t blockSize = std::max(packetSize, overhead + 1) - overhead;
    payload_.assign(image.begin(), image.end());
    if (payloadType == kChunkPayload) {
        AddChunks(registers, notes);
    }

    packetId_ = 0;
    std::vector<std::uint8_t> leader;
    const auto put32 = [&leader](std::uint32_t value) {
        const auto bytes = BigEndian<sizeof value>(value);
        leader.insert(leader.end(), bytes.begin(), bytes.end());
    };
    constexpr unsigned kHalf = 32;
    put32(payloadType);
    put32(static_cast<std::uint32_t>(notes.ticks >> kHalf));
    put32(static_cast<std::uint32_t>(notes.ticks));
    if (payloadType != kChunkPayload) { // whatever the type: as an image has it
        for (const std::uint32_t address : {kPixelFormat, kWidth, kHeight, kOffsetX, kOffsetY}) {
            put32(registers.Get(address));
        }
        put32(0); // no padding
    }
    SendPacket(notes, Content::Leader, leader);
    for (std::span<const std::uint8_t> rest = payload_; !rest.empty();) {
        const std::size_t bytes = std::min(blockSize, rest.size());
        SendPacket(notes, Content::Data, rest.first(bytes));
        rest = rest.subspan(bytes);
    }
    const std::size_t last =
        payloadType == kChunkPayload ? payload_.size() : registers.Get(kHeight);
    SendPacket(notes, Content::Trailer, BigEndian<8>(std::uint64_t{payloadType} << kHalf | last));
}

} // namespace kvcam
