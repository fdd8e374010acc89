/** Faults of the stream (docs/kvcam.md): what becomes of the packets of a frame on their way.
 *
 *  Pure, but for the counts and the random numbers that decide when a fault occurs. Threads: one at
 *  a time. */
#pragma once

#include "tools/kvcam/faults/fault_text.h"
#include "tools/kvcam/stream/frame_packets.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kvcam
{

/** What to send next: packets of the frame as they are, or one datagram that differs from all of
 *  them or leaves the camera in another way. */
struct Outgoing {
    std::uint32_t first = 0; ///< both numbers included, when there is no datagram
    std::uint32_t last = 0;
    std::optional<std::vector<std::uint8_t>> datagram = {};
    std::uint64_t lateMs = 0; ///< leaves the camera later than its turn
    bool stranger = false;    ///< comes from another socket
};

/** A request for packets, or the first sending of the whole frame. */
struct Sending {
    std::uint64_t frame = 1; ///< its number, from 1 on after each start
    std::uint32_t first = 0; ///< packets, both numbers included
    std::uint32_t last = 0;
    bool resent = false;
};

struct PacketFault;

class StreamFaults
{
public:
    /** Takes the faults of this camera, among those of others. Raises std::runtime_error, whose
     * text is a sentence, when one of them makes no sense. */
    StreamFaults(std::span<const std::string> texts, std::string_view serial);
    ~StreamFaults();
    StreamFaults(StreamFaults&&) noexcept;
    StreamFaults& operator=(StreamFaults&&) noexcept;

    /** Whether this is a fault of the stream; there are others. */
    static bool IsKind(std::string_view kind);

    /** What is sent in place of these packets, in this order. `outgoing` is emptied first. */
    void Plan(const FramePackets& packets, const Sending& sending, std::vector<Outgoing>* outgoing);
    /** The frame's number on the wire. */
    std::uint64_t Block(std::uint64_t frame, bool extendedIds) const;
    /** The frame's time stamp on the wire. Called once for each frame, in order. */
    std::uint64_t Ticks(std::uint64_t frame, std::uint64_t ticks);
    /** Whether a request for packets that the camera doesn't have stays without an answer. */
    bool IgnoresRequest(std::uint64_t block);

private:
    struct Numbers {
        std::uint64_t first = 1;
        std::optional<unsigned> bits = {};
        bool wrapsToZero = false;
    };
    struct TickFault {
        Occurrence occurrence;
        std::uint64_t mask;
        std::uint64_t jump; ///< modulo 2^64
        bool zero;
    };
    void Add(FaultText& text);

    std::vector<PacketFault> packetFaults_;
    std::vector<TickFault> tickFaults_;
    Numbers numbers_;
    std::uint64_t jumped_ = 0;
};

} // namespace kvcam
