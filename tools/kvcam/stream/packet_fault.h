/** One fault of single packets: which packets it hits, and what becomes of them. */
#pragma once

#include "tools/kvcam/stream/stream_faults.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace kvcam
{

/** A datagram that is to be sent, and how. */
struct FaultyDatagram {
    std::vector<std::uint8_t> bytes;
    std::uint64_t lateMs = 0;
    std::uint32_t behind = 0; ///< so many packets later than its turn
    bool stranger = false;
};

struct PacketFault {
    explicit PacketFault(FaultText& text);

    static bool IsKind(std::string_view kind);

    bool Concerns(const Sending& sending) const { return sending.resent ? onResent : onFirst; }
    /** Adds the numbers of the packets that it hits now, in order. */
    void Hits(const FramePackets& packetsOfFrame, const Sending& sending,
              std::vector<std::uint32_t>* hits);
    /** What becomes of a packet, which earlier faults may have changed or multiplied. */
    void Change(const FramePackets& packetsOfFrame, std::vector<FaultyDatagram>* datagrams) const;

    enum class Kind : std::uint8_t {
        Lose,
        Late,
        Reorder,
        Duplicate,
        Truncate,
        Length,
        WrongId,
        PacketNumber,
        Content,
        PayloadType,
        Stranger,
        RefuseResend,
        IgnoreResend
    };
    static constexpr std::int64_t kTrailer = -1;

    Kind kind;
    bool onFirst = true;
    bool onResent = false;
    std::optional<std::int64_t> packet = {}; ///< or kTrailer; none: any
    std::uint64_t packets = 1;               ///< from `packet` on
    bool eachPacket = false;                 ///< it occurs for each packet, not for each frame
    std::uint64_t value = 0;                 ///< its own setting
    Occurrence occurrence;

private:
    void Multiply(const FramePackets& packetsOfFrame, std::vector<FaultyDatagram>* datagrams) const;
    void ChangeOne(const FramePackets& packetsOfFrame, FaultyDatagram* datagram) const;
};

} // namespace kvcam
