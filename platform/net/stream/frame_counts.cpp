#include "net/stream/frame_counts.h"

#include <algorithm>
#include <utility>

namespace net
{

namespace
{

constexpr std::uint64_t kHeaders = 36;     ///< of IP, UDP and the stream, bytes
constexpr std::uint64_t kLongHeaders = 48; ///< the same with frame numbers of 64 bits
constexpr std::uint64_t kEnds = 2; ///< packets: the one before the image and the one behind it

} // namespace

void FrameCounts::Make(std::uint64_t packetSize, std::uint64_t bytes)
{
    packetSize_ = packetSize;
    headers_ = kHeaders;
    packetsOfFrame_ = PacketsOf(bytes);
}

void FrameCounts::Start(std::uint64_t payloadBytes)
{
    packetsOfFrame_ = PacketsOf(payloadBytes);
    ids_.Restart();
    packets_.Restart();
}

std::uint64_t FrameCounts::PacketsOf(std::uint64_t bytes) const
{
    const std::uint64_t inPacket = std::max(packetSize_, headers_ + 1) - headers_;
    return (bytes + inPacket - 1) / inPacket + kEnds;
}

/** Whether frame numbers have 64 bits shows only in how many packets a complete frame took. */
void FrameCounts::LearnHeaders(std::uint64_t bytes, std::uint64_t packets)
{
    if (packets == PacketsOf(bytes)) {
        return;
    }
    const std::uint64_t before = std::exchange(headers_, kHeaders + kLongHeaders - headers_);
    if (packets != PacketsOf(bytes)) {
        headers_ = before;
    }
}

/** Returns the frames that are missing before this number. The library counts packets that found no
 *  buffer, but not the frames that they belong to. */
std::uint64_t FrameCounts::CountGap(std::uint64_t number, std::uint64_t unplaced)
{
    const std::uint64_t gap = ids_.Came(number);
    const std::uint64_t packets = Growth(unplacedAtNumber_, unplaced);
    const std::uint64_t underruns =
        std::min(gap, (packets + packetsOfFrame_ - 1) / packetsOfFrame_);
    underruns_ += underruns;
    lost_ += gap - underruns;
    unplacedAtNumber_ = unplaced;
    return gap;
}

std::uint64_t FrameCounts::Came(const DeliveredFrame& frame, GEV_FRAME_RECEPTION* reception)
{
    ++(frame.complete ? received_ : incomplete_);
    unplacedAtFrame_ = frame.begin.unplaced;
    const std::uint64_t underrunsBefore = underruns_;
    const std::uint64_t gap = frame.number ? CountGap(*frame.number, frame.begin.unplaced) : 0;
    const std::uint64_t packets = Growth(frame.begin.sent, frame.end.sent);
    const std::uint64_t resent = Growth(frame.begin.resent, frame.resent);
    const std::uint64_t underruns = underruns_ - underrunsBefore;
    if (frame.complete) {
        LearnHeaders(frame.bytes, packets);
        packetsOfFrame_ = PacketsOf(frame.bytes);
    } else {
        ofNewestIncomplete_ = std::min(packets, packetsOfFrame_);
    }
    // Packets of the frames around this one may be among them.
    const std::uint64_t received =
        frame.complete ? packetsOfFrame_ : std::min(packets + resent, packetsOfFrame_);
    *reception = {kGevNoFault,
                  static_cast<std::uint32_t>(received),
                  static_cast<std::uint32_t>(std::min(resent, received)),
                  static_cast<std::uint32_t>(packetsOfFrame_ - received),
                  static_cast<std::uint32_t>(gap - underruns),
                  static_cast<std::uint32_t>(underruns)};
    packets_.Frame(packetsOfFrame_, gap, frame.complete, frame.begin, frame.end, frame.resent);
    return frame.number ? *frame.number : ids_.CameWithoutNumber();
}

GEV_TRANSFER_STATISTICS FrameCounts::Read(const Arrivals& now) const
{
    GEV_TRANSFER_STATISTICS counts{};
    counts.framesReceived = received_;
    counts.framesIncomplete = incomplete_;
    counts.framesLost = lost_;
    // Those since the newest frame are counted once another one comes; until then their packets are
    // counted.
    counts.underruns = underruns_ + Growth(unplacedAtFrame_, now.unplaced) / packetsOfFrame_;
    counts.packetsReceived = now.sent + now.resent;
    counts.packetsResent = now.resent;
    counts.packetsMissing = packets_.Missing();
    counts.packetsOfFrame = packetsOfFrame_;
    counts.packetSize = packetSize_;
    counts.packetsOfNewestIncomplete = ofNewestIncomplete_;
    counts.framesOfUnknownPayload = unknownPayload_;
    counts.startRefused = startRefused_ ? 1 : 0;
    return counts;
}

} // namespace net
