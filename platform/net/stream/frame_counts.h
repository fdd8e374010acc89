/** The statistics of one transfer. */
#pragma once

#include "gev_api.h"
#include "net/stream/frame_ids.h"
#include "net/stream/packet_account.h"

#include <cstdint>
#include <optional>

namespace net
{

/** A frame as the library delivered it. */
struct DeliveredFrame {
    std::optional<std::uint64_t> number;
    bool complete = false;
    std::uint64_t bytes = 0;  ///< of a complete one
    Arrivals begin;           ///< before its first packet
    Arrivals end;             ///< before the first packet of the next frame
    std::uint64_t resent = 0; ///< packets, until it was delivered
};

class FrameCounts
{
public:
    /** `packetSize` with all headers; buffers of `bytes`. */
    void Make(std::uint64_t packetSize, std::uint64_t bytes);
    /** The camera begins to send frames of `payloadBytes`. */
    void Start(std::uint64_t payloadBytes);
    void StartWasRefused(bool refused) { startRefused_ = refused; }
    void HadUnknownPayload() { ++unknownPayload_; }
    /** Returns the frame's number, or the one that it probably has; `*reception` is how it came,
     * but for its fault. */
    std::uint64_t Came(const DeliveredFrame& frame, GEV_FRAME_RECEPTION* reception);
    /** All fields but the number of the transfer. */
    GEV_TRANSFER_STATISTICS Read(const Arrivals& now) const;

private:
    std::uint64_t CountGap(std::uint64_t number, std::uint64_t unplaced);
    std::uint64_t PacketsOf(std::uint64_t bytes) const;
    void LearnHeaders(std::uint64_t bytes, std::uint64_t packets);

    FrameIds ids_;
    PacketAccount packets_;
    std::uint64_t received_ = 0;
    std::uint64_t incomplete_ = 0;
    std::uint64_t lost_ = 0;
    std::uint64_t underruns_ = 0;
    std::uint64_t unknownPayload_ = 0;
    bool startRefused_ = false;
    std::uint64_t packetSize_ = 0; ///< bytes
    std::uint64_t headers_ = 0;    ///< bytes of a packet that aren't the frame's
    std::uint64_t packetsOfFrame_ = 1;
    std::uint64_t ofNewestIncomplete_ = 0; ///< packets
    std::uint64_t unplacedAtNumber_ = 0;   ///< packets without a buffer, before the newest number
    std::uint64_t unplacedAtFrame_ = 0;    ///< the same, before the newest delivered frame
};

} // namespace net
