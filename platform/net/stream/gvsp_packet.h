/** The packets of a stream channel, read from datagrams. */
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <span>

namespace net
{

constexpr std::size_t kGvspHeader = 8;          ///< bytes
constexpr std::size_t kGvspExtendedHeader = 20; ///< with frame numbers of 64 bits
constexpr std::size_t kUdpHeaders = 28;         ///< of IP and UDP

enum class GvspContent : std::uint8_t {
    Leader = 1,
    Trailer = 2,
    Payload = 3,
    AllInOne = 4,
    Compressed = 5,
    MultiZone = 6,
    MultiPart = 7,
    GenDc = 8
};

namespace gvsp_status
{
constexpr std::uint16_t kError = 0x8000; ///< set in all errors
constexpr std::uint16_t kNotYetAvailable = 0x8010;
constexpr std::uint16_t kUnavailable = 0x800C;
constexpr std::uint16_t kAllBeforeRemoved = 0x8011; ///< this packet and those before it
constexpr std::uint16_t kRemoved = 0x8012;
constexpr std::uint16_t kTemporarilyUnavailable = 0x8014;
} // namespace gvsp_status

/** Whether it says that the camera doesn't have a packet any more. */
constexpr bool IsRefusal(std::uint16_t status)
{
    return status == gvsp_status::kUnavailable || status == gvsp_status::kAllBeforeRemoved ||
           status == gvsp_status::kRemoved;
}

/** Big-endian numbers at any address. */
template <class Number> Number ReadBig(const std::uint8_t* bytes)
{
    static_assert(std::endian::native == std::endian::little);
    Number number;
    std::memcpy(&number, bytes, sizeof number);
    if constexpr (sizeof number == 2) {
        return __builtin_bswap16(number);
    } else if constexpr (sizeof number == 4) {
        return __builtin_bswap32(number);
    } else {
        return __builtin_bswap64(number);
    }
}

struct GvspPacket {
    std::uint16_t status = 0;
    bool extendedIds = false;
    GvspContent content = GvspContent::Leader; ///< perhaps a value that has no name
    std::uint32_t id = 0;
    std::uint64_t number = 0; ///< of the frame
    std::span<const std::uint8_t> data;
};

/** False for a datagram that is too short to be a packet. */
inline bool ReadPacket(std::span<const std::uint8_t> datagram, GvspPacket* packet)
{
    constexpr std::uint8_t kExtended = 0x80;
    constexpr std::uint32_t kIdMask = 0xFFFFFF;
    if (datagram.size() < kGvspHeader) {
        return false;
    }
    const std::uint8_t* const bytes = datagram.data();
    packet->status = ReadBig<std::uint16_t>(bytes);
    packet->content = static_cast<GvspContent>(bytes[4] & ~kExtended);
    packet->extendedIds = (bytes[4] & kExtended) != 0;
    if (!packet->extendedIds) {
        packet->number = ReadBig<std::uint16_t>(bytes + 2);
        packet->id = ReadBig<std::uint32_t>(bytes + 4) & kIdMask;
        packet->data = datagram.subspan(kGvspHeader);
        return true;
    }
    if (datagram.size() < kGvspExtendedHeader) {
        return false;
    }
    packet->number = ReadBig<std::uint64_t>(bytes + 8);
    packet->id = ReadBig<std::uint32_t>(bytes + 16);
    packet->data = datagram.subspan(kGvspExtendedHeader);
    return true;
}

struct GvspLeader {
    std::uint16_t payloadType = 0;
    std::uint64_t ticks = 0;
    std::uint32_t pixelFormat = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t paddingX = 0; ///< bytes behind each line
    std::uint16_t paddingY = 0; ///< bytes behind the image
};

/** Whether frames of this payload type are received: images and chunk data, with extended chunks or
 *  without. */
bool IsReceived(std::uint16_t payloadType);
/** Whether the leader has the size of the image. */
bool HasGeometry(std::uint16_t payloadType);
bool HasChunks(std::uint16_t payloadType);

/** False if it is too short for a leader of its payload type. */
bool ReadLeader(std::span<const std::uint8_t> data, GvspLeader* leader);

/** Bytes of the first `lines` lines of the image; the largest number if that is no size at all. */
std::uint64_t ImageBytes(const GvspLeader& leader, std::uint32_t lines);

struct GvspTrailer {
    std::uint16_t payloadType = 0;
    std::uint32_t lines = 0; ///< 0: not said
    std::uint32_t bytes = 0; ///< of chunk data; 0: not said
};

/** False if it is too short for a trailer at all. */
bool ReadTrailer(std::span<const std::uint8_t> data, GvspTrailer* trailer);

} // namespace net
