#include "net/stream/gvsp_packet.h"

namespace net
{

namespace
{

constexpr std::uint16_t kImage = 1;
constexpr std::uint16_t kChunkData = 4;
constexpr std::uint16_t kExtendedChunks = 0x4000;
constexpr std::size_t kLeaderBytes = 12;      ///< up to the time stamp, of any payload type
constexpr std::size_t kImageLeaderBytes = 36; ///< of a leader with a geometry
constexpr std::size_t kTrailerBytes = 4;

std::uint16_t BaseType(std::uint16_t payloadType)
{
    return static_cast<std::uint16_t>(payloadType & ~kExtendedChunks);
}

} // namespace

bool IsReceived(std::uint16_t payloadType)
{
    const std::uint16_t type = BaseType(payloadType);
    return type == kImage || type == kChunkData;
}

bool HasGeometry(std::uint16_t payloadType)
{
    return BaseType(payloadType) == kImage;
}

bool HasChunks(std::uint16_t payloadType)
{
    return BaseType(payloadType) == kChunkData || (payloadType & kExtendedChunks) != 0;
}

bool ReadLeader(std::span<const std::uint8_t> data, GvspLeader* leader)
{
    if (data.size() < kLeaderBytes) {
        return false;
    }
    leader->payloadType = ReadBig<std::uint16_t>(data.data() + 2);
    leader->ticks = ReadBig<std::uint64_t>(data.data() + 4);
    if (data.size() < kImageLeaderBytes) {
        return BaseType(leader->payloadType) != kImage;
    }
    leader->pixelFormat = ReadBig<std::uint32_t>(data.data() + 12);
    leader->width = ReadBig<std::uint32_t>(data.data() + 16);
    leader->height = ReadBig<std::uint32_t>(data.data() + 20);
    leader->paddingX = ReadBig<std::uint16_t>(data.data() + 32);
    leader->paddingY = ReadBig<std::uint16_t>(data.data() + 34);
    return true;
}

std::uint64_t ImageBytes(const GvspLeader& leader, std::uint32_t lines)
{
    constexpr std::uint64_t kNoSize = ~std::uint64_t{0};
    constexpr std::uint64_t kMostPixels = std::uint64_t{1} << 48;
    const std::uint64_t bits = leader.pixelFormat >> 16 & 0xFF; ///< of a pixel
    if (leader.width != 0 && lines > kMostPixels / leader.width) {
        return kNoSize;
    }
    const std::uint64_t pixels = std::uint64_t{leader.width} * lines;
    return (pixels * bits + 7) / 8 + std::uint64_t{leader.paddingX} * lines + leader.paddingY;
}

bool ReadTrailer(std::span<const std::uint8_t> data, GvspTrailer* trailer)
{
    if (data.size() < kTrailerBytes) {
        return false;
    }
    trailer->payloadType = ReadBig<std::uint16_t>(data.data() + 2);
    const bool hasBytes = BaseType(trailer->payloadType) == kChunkData;
    const std::size_t lines = hasBytes ? kTrailerBytes + 4 : kTrailerBytes;
    if (hasBytes && data.size() >= kTrailerBytes + 4) {
        trailer->bytes = ReadBig<std::uint32_t>(data.data() + kTrailerBytes);
    }
    if (data.size() >= lines + 4) {
        trailer->lines = ReadBig<std::uint32_t>(data.data() + lines);
    }
    return true;
}

} // namespace net
