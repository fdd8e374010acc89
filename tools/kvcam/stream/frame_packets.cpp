#include "tools/kvcam/stream/frame_packets.h"

#include "tools/kvcam/stream/chunk_ids.h"
#include "tools/kvcam/stream/wire_numbers.h"

#include <algorithm>
#include <cstring>

namespace kvcam
{

namespace
{

constexpr std::size_t kIpAndUdpBytes = 28;
constexpr std::size_t kSmallestStep = 8;
constexpr std::uint8_t kExtendedFlag = 0x80;
constexpr std::uint16_t kResentFlag = 1; // of the flags that extended headers have
constexpr std::size_t kSimulatedChunk = 2 * sizeof(std::uint32_t) + kChunkValueBytes;

/** The image's trailer, and the chunks with theirs. */
std::vector<std::uint8_t> ChunkData(const FrameContent& content)
{
    std::vector<std::uint8_t> data;
    AppendNumber<4>(&data, kImageChunk);
    AppendNumber<4>(&data, content.pixels.size());
    for (auto rest = content.chunks; rest.size() >= kSimulatedChunk;
         rest = rest.subspan(kSimulatedChunk)) {
        std::uint32_t chunk = 0;
        std::uint64_t value = 0;
        std::memcpy(&chunk, rest.data(), sizeof chunk);
        std::memcpy(&value, rest.data() + 2 * sizeof chunk, sizeof value);
        AppendNumber<8>(&data, value);
        AppendNumber<4>(&data, ChunkId(chunk));
        AppendNumber<4>(&data, kChunkValueBytes);
    }
    return data;
}

std::vector<std::uint8_t> LeaderData(const FrameContent& content, std::uint16_t payloadType)
{
    std::vector<std::uint8_t> data;
    AppendNumber<4>(&data, payloadType);
    AppendNumber<8>(&data, content.ticks);
    if (payloadType == kChunkPayload) {
        return data; // it has no geometry
    }
    for (const std::uint32_t number : {content.pixelFormat, content.width, content.height,
                                       content.offsetX, content.offsetY, 0U /* no padding */}) {
        AppendNumber<4>(&data, number);
    }
    return data;
}

std::vector<std::uint8_t> TrailerData(const FrameContent& content, std::uint16_t payloadType,
                                      std::size_t payloadBytes)
{
    std::vector<std::uint8_t> data;
    AppendNumber<4>(&data, payloadType);
    if (payloadType == kChunkPayload) {
        AppendNumber<4>(&data, payloadBytes);
    }
    AppendNumber<4>(&data, content.height);
    if (payloadType == kExtendedChunkPayload) {
        AppendNumber<4>(&data, payloadBytes);
        AppendNumber<4>(&data, 0); // the layout of the chunks never changes
    }
    return data;
}

} // namespace

Packet HeaderOf(const PacketForm& form, std::uint16_t status, PacketContent content,
                std::uint32_t packet)
{
    Packet result{};
    result.headerBytes = HeaderBytes(form);
    const auto kind = static_cast<std::uint8_t>(content);
    std::uint8_t* to = PutNumber<2>(result.header.data(), status);
    if (!form.extendedIds) {
        to = PutNumber<2>(to, form.block);
        to = PutNumber<1>(to, kind);
        PutNumber<3>(to, packet);
        return result;
    }
    to = PutNumber<2>(to, status == kResent ? kResentFlag : 0U);
    to = PutNumber<4>(to, std::uint32_t{static_cast<std::uint8_t>(kind | kExtendedFlag)} << 24);
    to = PutNumber<8>(to, form.block);
    PutNumber<4>(to, packet);
    return result;
}

FramePackets::FramePackets(const FrameContent& content, const PacketForm& form)
    : form_(form), pixels_(content.pixels), pixelsThere_(content.pixelsThere)
{
    if (form.payloadType != kImagePayload) {
        chunkData_ = ChunkData(content);
    }
    leaderData_ = LeaderData(content, form.payloadType);
    trailerData_ = TrailerData(content, form.payloadType, PayloadBytes());
    const std::size_t headers = kIpAndUdpBytes + HeaderBytes(form);
    step_ = std::max(std::size_t{form.packetSize}, headers + kSmallestStep) - headers;
    trailer_ = static_cast<std::uint32_t>((PayloadBytes() + step_ - 1) / step_ + 1);
}

bool FramePackets::Has(std::uint32_t packet) const
{
    return packet == 0 || packet == trailer_ || pixelsThere_ == pixels_.size() ||
           packet * step_ <= pixelsThere_;
}

Packet FramePackets::At(std::uint32_t packet, std::uint16_t status) const
{
    if (packet == 0 || packet == trailer_) {
        const bool leads = packet == 0;
        Packet result =
            HeaderOf(form_, status, leads ? PacketContent::Leader : PacketContent::Trailer, packet);
        result.first = leads ? leaderData_ : trailerData_;
        return result;
    }
    Packet result = HeaderOf(form_, status, PacketContent::Payload, packet);
    const std::size_t begin = (packet - 1) * step_;
    const std::size_t end = std::min(begin + step_, PayloadBytes());
    const std::size_t pixels = pixels_.size();
    const std::span<const std::uint8_t> chunks(chunkData_);
    if (begin < pixels) {
        result.first = pixels_.subspan(begin, std::min(end, pixels) - begin);
    }
    if (end > pixels) {
        const std::size_t from = std::max(begin, pixels);
        result.second = chunks.subspan(from - pixels, end - from);
    }
    return result;
}

std::vector<std::uint8_t> FramePackets::Datagram(std::uint32_t packet, std::uint16_t status) const
{
    const Packet parts = At(packet, status);
    std::vector<std::uint8_t> datagram(parts.header.begin(),
                                       parts.header.begin() +
                                           static_cast<std::ptrdiff_t>(parts.headerBytes));
    datagram.insert(datagram.end(), parts.first.begin(), parts.first.end());
    datagram.insert(datagram.end(), parts.second.begin(), parts.second.end());
    return datagram;
}

} // namespace kvcam
