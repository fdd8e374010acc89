/** The statistics of a transfer that is received here. */
#pragma once

#include "gev_api.h"
#include "net/stream/frame_ids.h"
#include "net/stream/reassembly.h"

#include <algorithm>
#include <cstdint>

namespace net
{

/** What is lost counts when the frame behind it is delivered, so that the counts fit the frames
 * that the caller has seen. */
class DeliveryCounts
{
public:
    /** `packetSize` with all headers. */
    void Make(std::uint64_t packetSize) { packetSize_ = packetSize; }
    void Start() { ids_.Restart(); }
    void StartWasRefused(bool refused) { startRefused_ = refused; }

    GEV_FRAME_RECEPTION Delivered(const ReceivedFrame& frame, bool complete,
                                  const ReassemblyCounts& now)
    {
        ++(complete ? received_ : incomplete_);
        unknownPayload_ += frame.fault == FrameFault::UnknownPayload ? 1 : 0;
        const std::uint64_t gap = ids_.Came(frame.number);
        const std::uint64_t underruns = std::min(gap, now.framesWithoutBuffer - placedUnderruns_);
        placedUnderruns_ += underruns;
        lost_ += gap - underruns;
        missing_ += frame.packetsMissing + (gap - underruns) * now.packetsOfFrame;
        if (!complete) {
            ofNewestIncomplete_ = frame.packetsReceived;
        }
        return {FaultOf(frame, complete),
                frame.packetsReceived,
                frame.packetsResent,
                frame.packetsMissing,
                static_cast<std::uint32_t>(gap - underruns),
                static_cast<std::uint32_t>(underruns)};
    }

    /** All fields but the number of the transfer. */
    GEV_TRANSFER_STATISTICS Read(const ReassemblyCounts& now) const
    {
        GEV_TRANSFER_STATISTICS counts{};
        counts.framesReceived = received_;
        counts.framesIncomplete = incomplete_;
        counts.framesLost = lost_;
        counts.underruns = now.framesWithoutBuffer;
        counts.packetsReceived =
            now.packets - now.duplicate - now.late - now.malformed - now.refused;
        counts.packetsResent = now.resent;
        counts.packetsMissing = missing_;
        counts.packetsOfFrame = now.packetsOfFrame;
        counts.packetSize = packetSize_;
        counts.packetsOfNewestIncomplete = ofNewestIncomplete_;
        counts.framesOfUnknownPayload = unknownPayload_;
        counts.startRefused = startRefused_ ? 1 : 0;
        return counts;
    }

private:
    static GevFrameFault FaultOf(const ReceivedFrame& frame, bool complete)
    {
        switch (frame.fault) {
        case FrameFault::None:
            break;
        case FrameFault::PacketsMissing:
            return kGevPacketsMissing;
        case FrameFault::Refused:
            return kGevPacketsRefused;
        case FrameFault::TooLarge:
            return kGevBufferTooSmall;
        case FrameFault::UnknownPayload:
            return kGevUnknownPayload;
        case FrameFault::Malformed:
            return kGevContradictory;
        }
        return complete ? kGevNoFault : kGevSmallerThanImage;
    }

    FrameIds ids_;
    std::uint64_t received_ = 0;
    std::uint64_t incomplete_ = 0;
    std::uint64_t lost_ = 0;
    std::uint64_t placedUnderruns_ = 0; ///< of which it is known between which frames they were
    std::uint64_t missing_ = 0;         ///< packets
    std::uint64_t ofNewestIncomplete_ = 0;
    std::uint64_t unknownPayload_ = 0;
    std::uint64_t packetSize_ = 0;
    bool startRefused_ = false;
};

} // namespace net
