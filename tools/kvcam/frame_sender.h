/** Sends the frames that the library's camera can't: those with chunk data (GigE Vision payload
 * type 4), those that lose a given packet, those of another payload type, and those with numbers of
 * 64 bits.
 *
 *  In chunk data the image and each value are followed by a trailer of id and length, 4 bytes each.
 *  All numbers are big endian. kvcam.xml has a port for each id. */
#pragma once

#include "tools/kvcam/registers.h"
#include "tools/kvcam/udp_socket.h"

#include <array>
#include <cstdint>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace kvcam
{

/** The values in the chunk data of a frame. */
struct FrameNotes {
    std::uint32_t number = 0; ///< counted on from the first one after a start
    std::uint32_t id = 0;     ///< the same on the network
    std::uint64_t ticks = 0;
};

constexpr std::uint32_t kImagePayload = 1;
constexpr std::uint32_t kChunkPayload = 4;

/** Which packets get lost. */
struct Losses {
    double ratio = 0;                    ///< of all packets, at random
    std::optional<std::uint32_t> packet; ///< this one, 0 being the frame's leader
    std::uint32_t frames = 1;            ///< it is lost in frames whose number this divides
};

/** Used only by the thread that sends frames. */
class FrameSender
{
public:
    /** Sends from this address. */
    FrameSender(const std::string& address, const Losses& losses, bool wideNumbers);

    /** Sends the image to the client whose address is in the registers, with payload type 4
     *  followed by the enabled chunks. */
    void Send(const Registers& registers, const FrameNotes& notes, std::uint32_t payloadType,
              std::span<const std::uint8_t> image);

private:
    enum class Content : std::uint32_t { Leader = 1, Trailer = 2, Data = 3 };

    static constexpr std::size_t kNarrowHeader = 8;
    using Header = std::array<std::uint8_t, 20>; ///< for a number of 64 bits

    Header HeaderOf(const FrameNotes& notes, Content content, std::uint32_t packet) const;
    void Put32(std::uint32_t value);
    void Put64(std::uint64_t value);
    void PutTrailer(std::uint32_t id, std::uint32_t bytes);
    void AddChunks(const Registers& registers, const FrameNotes& notes);
    void SendPacket(const FrameNotes& notes, Content content, std::span<const std::uint8_t> bytes);
    bool IsLost(std::uint32_t number);

    UdpSocket socket_;
    const Losses losses_;
    const bool wideNumbers_;
    std::minstd_rand random_;
    sockaddr_in client_{};
    std::uint32_t packetId_ = 0;
    std::vector<std::uint8_t> payload_;
};

} // namespace kvcam
