/** Sends frames with chunk data (GigE Vision payload type 4), which the library's camera can't.
 *
 *  The image and each value are followed by a trailer of id and length, 4 bytes each. All numbers
 *  are big endian. kvcam.xml has a port for each id. */
#pragma once

#include "tools/kvcam/registers.h"
#include "tools/kvcam/udp_socket.h"

#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace kvcam
{

/** The values in the chunk data of a frame. */
struct FrameNotes {
    std::uint32_t number = 0; ///< from 1 with each start
    std::uint64_t ticks = 0;
};

/** Used only by the thread that sends frames. */
class ChunkSender
{
public:
    /** Sends from this address; `lostRatio` is the share of packets that get lost. */
    ChunkSender(const std::string& address, double lostRatio);

    /** Sends the image and the enabled chunks to the client whose address is in the registers. */
    void Send(const Registers& registers, const FrameNotes& notes,
              std::span<const std::uint8_t> image);

private:
    enum class Content : std::uint32_t { Leader = 1, Trailer = 2, Data = 3 };

    void Put32(std::uint32_t value);
    void Put64(std::uint64_t value);
    void PutTrailer(std::uint32_t id, std::uint32_t bytes);
    void Assemble(const Registers& registers, const FrameNotes& notes,
                  std::span<const std::uint8_t> image);
    void SendPacket(std::uint32_t frameId, Content content, std::span<const std::uint8_t> bytes);

    UdpSocket socket_;
    const double lostRatio_;
    std::minstd_rand random_;
    sockaddr_in client_{};
    std::uint32_t packetId_ = 0;
    std::vector<std::uint8_t> payload_;
};

} // namespace kvcam
