/** One frame as packets of GVSP: the leader is packet 0, the payload packets follow, and the
 * trailer is the last one.
 *
 *  The payload is the image, and in a frame with chunk data also the image's own chunk trailer and
 *  the chunks, each followed by its trailer. Pixels are never copied: a packet refers to them.
 *
 *  Pure, and unchanged once it is made. Threads: any. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kvcam
{

constexpr std::uint16_t kImagePayload = 1;
constexpr std::uint16_t kChunkPayload = 4;
constexpr std::uint16_t kExtendedChunkPayload = 0x4001; ///< an image, with chunks behind it

constexpr std::uint16_t kResent = 0x0100; ///< status of a packet that is sent again

/** What the camera took. The pixels outlive the packets. */
struct FrameContent {
    std::span<const std::uint8_t> pixels = {};
    std::size_t pixelsThere = 0; ///< bytes from the start; the others never reached the memory
    /** As the simulated camera writes them (sim/camera/chunks.h). */
    std::span<const std::uint8_t> chunks = {};
    std::uint32_t pixelFormat = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t offsetX = 0;
    std::uint32_t offsetY = 0;
    std::uint64_t ticks = 0;
};

/** How it is sent. */
struct PacketForm {
    std::uint32_t packetSize = 1500; ///< bytes, with the headers of IP and UDP
    std::uint16_t payloadType = kImagePayload;
    std::uint64_t block = 1;
    bool extendedIds = false;
};

enum class PacketContent : std::uint8_t { Leader = 1, Trailer = 2, Payload = 3 };

/** A packet whose bytes lie at several places; some may be empty. */
struct Packet {
    static constexpr std::size_t kMostHeader = 20;

    std::array<std::uint8_t, kMostHeader> header;
    std::size_t headerBytes;
    std::span<const std::uint8_t> first;
    std::span<const std::uint8_t> second; ///< behind the first

    std::size_t Bytes() const { return headerBytes + first.size() + second.size(); }
};

/** The header of a packet, which may be all of it. */
Packet HeaderOf(const PacketForm& form, std::uint16_t status, PacketContent content,
                std::uint32_t packet);

constexpr std::size_t HeaderBytes(const PacketForm& form)
{
    constexpr std::size_t kUsualHeader = 8;
    return form.extendedIds ? Packet::kMostHeader : kUsualHeader;
}

class FramePackets
{
public:
    FramePackets(const FrameContent& content, const PacketForm& form);

    const PacketForm& Form() const { return form_; }
    /** The number of the last packet. */
    std::uint32_t Trailer() const { return trailer_; }
    /** Whether the camera has what belongs into this packet. */
    bool Has(std::uint32_t packet) const;
    /** `packet` is at most Trailer(). */
    Packet At(std::uint32_t packet, std::uint16_t status = 0) const;
    /** The same in one piece. */
    std::vector<std::uint8_t> Datagram(std::uint32_t packet, std::uint16_t status = 0) const;

private:
    std::size_t PayloadBytes() const { return pixels_.size() + chunkData_.size(); }

    PacketForm form_;
    std::span<const std::uint8_t> pixels_;
    std::size_t pixelsThere_;
    std::vector<std::uint8_t> chunkData_; // behind the pixels
    std::vector<std::uint8_t> leaderData_;
    std::vector<std::uint8_t> trailerData_;
    std::size_t step_; // bytes of the payload in one packet
    std::uint32_t trailer_;
};

} // namespace kvcam
