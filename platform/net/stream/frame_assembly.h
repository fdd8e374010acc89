/** One frame that is put together from its packets. */
#pragma once

#include "net/stream/gvsp_packet.h"
#include "net/stream/missing_packets.h"
#include "net/stream/reassembly.h"
#include "net/stream/stream_state.h"

#include <cstring>
#include <vector>

namespace net
{

/** A frame isn't one before it is confirmed: until then it requests nothing and counts for nothing.
 *
 *  Packets are numbered: the leader is 0, the payload 1 to n, the trailer n + 1. All packets below
 *  the horizon have come, or are listed as missing until there is no more hope for them. A frame
 *  is doomed when one of its packets can't be had any more; it is given up when nothing else is to
 *  come.
 *
 *  A short payload packet is taken for the last one until another packet shows that it isn't: then
 *  it was cut, and is missing. */
class FrameAssembly
{
public:
    FrameAssembly(StreamState& stream, std::uint32_t buffer, std::uint8_t* data)
        : stream_(&stream), data_(data)
    {
        frame_.buffer = buffer;
    }

    /** Sizes all lists for frames as the settings say. Allocates. */
    void Reserve();
    void Begin(std::uint64_t number, bool extendedIds, Ns now);
    /** Where it is in the order of all frames. */
    std::uint64_t Sequence() const { return sequence_; }
    void Place(std::uint64_t sequence) { sequence_ = sequence; }
    /** A second packet has come, or the number is the one that was expected: it is a frame, and not
     *  one packet with a wrong number. */
    void Confirm() { confirmed_ = true; }
    /** No packet of it came, although one of a later frame did. */
    void ConfirmSkipped() { skipped_ = confirmed_ = true; }
    bool IsConfirmed() const { return confirmed_; }
    bool DeservesConfirmation() const
    {
        return frame_.packetsReceived > 1 ||
               (frame_.hasLeader && (frame_.fault == FrameFault::UnknownPayload ||
                                     frame_.fault == FrameFault::TooLarge));
    }
    bool Is(std::uint64_t number, bool extendedIds) const
    {
        return frame_.number == number && frame_.extendedIds == extendedIds;
    }

    /** The packet that is expected next, of full size; false if it is another one. */
    bool TakeNext(const GvspPacket& packet, Ns now)
    {
        const std::uint32_t before = packet.id - 1; // of no packet if it is the leader's number
        if (packet.id != horizon_ || before >= lastFull_ || packet.data.size() != step_ ||
            packet.content != GvspContent::Payload || packet.status != 0 || !confirmed_) {
            return false;
        }
        std::memcpy(data_ + std::uint64_t{before} * step_, packet.data.data(), step_);
        SetReceived(packet.id);
        ++frame_.packetsReceived;
        ++horizon_;
        ++fullPackets_;
        highest_ = packet.id;
        newest_ = now;
        return true;
    }
    void Take(const GvspPacket& packet, Ns now);
    /** A frame behind this one has begun. */
    void NextBegan(Ns now) { nextBegan_ = std::min(nextBegan_, now); }
    void Tick(Ns now);
    Ns Due() const;
    bool IsFinished() const { return finished_; }
    /** It was requested as a whole. */
    bool WasSkipped() const { return skipped_; }
    /** The same, in vain: it counts as if it had never begun. */
    bool IsUnseen() const { return skipped_ && frame_.packetsReceived == 0; }
    /** Of a finished frame. */
    const ReceivedFrame& Result() const { return frame_; }

private:
    void TakeContent(const GvspPacket& packet, Ns now);
    void TakeStatus(const GvspPacket& packet);
    void TakeLeader(const GvspPacket& packet, Ns now);
    void TakePayload(const GvspPacket& packet, Ns now);
    void TakeTrailer(const GvspPacket& packet, Ns now);
    void TakeFinished();
    Ns NextDue() const;
    bool FitsLength(std::uint32_t id, std::uint32_t bytes, Ns now);
    bool IsOtherSize(std::uint32_t id, std::uint32_t bytes, Ns now);
    void TakeBeyondBuffer(std::uint32_t id);
    void SetStep(std::uint32_t bytes);
    void Came(const GvspPacket& packet, Ns now);
    void WasCut(std::uint32_t id, Ns now);
    bool IsPlausible(std::uint32_t id) const;
    std::uint32_t Promised() const;
    std::uint64_t Required() const;
    std::uint64_t Bytes() const;
    void CheckComplete(Ns now);
    Ns TailDue() const;
    void CloseTail(Ns now);
    void Request(Ns now);
    bool RequestRun(MissingRun* run, Ns now);
    bool IsHopeless() const;
    void GiveUp();
    bool HasAllButTrailer() const;
    void Finish(FrameFault fault);

    bool WasReceived(std::uint32_t id) const { return (received_[id / 64] >> id % 64 & 1) != 0; }
    void SetReceived(std::uint32_t id) { received_[id / 64] |= std::uint64_t{1} << id % 64; }

    // What TakeNext needs comes first.
    std::uint32_t horizon_ = 0;
    std::uint32_t lastFull_ = 0; ///< TakeNext takes packets up to this one; 0: none
    std::uint32_t step_ = 0;     ///< payload bytes of each packet but the last one
    std::uint32_t highest_ = 0;  ///< payload packet that came
    std::uint32_t fullPackets_ = 0;
    Ns newest_ = 0; ///< when a packet came at last that had not been requested
    std::vector<std::uint64_t> received_;
    ReceivedFrame frame_;

    StreamState* stream_;
    std::uint8_t* data_;
    std::uint64_t sequence_ = 0;
    std::uint32_t packetLimit_ = 0; ///< numbers are below
    MissingPackets missing_;
    GvspLeader leader_;
    GvspTrailer trailer_;
    std::uint32_t trailerId_ = 0; ///< 0: not known
    std::uint32_t shortId_ = 0;   ///< of the payload packet that is taken for the last; 0: none
    std::uint32_t shortBytes_ = 0;
    std::uint32_t oddId_ = 0; ///< of the newest payload packet of another size; 0: none
    std::uint32_t oddBytes_ = 0;
    std::uint32_t oddPackets_ = 0;
    std::uint32_t requested_ = 0; ///< packets, each once
    Ns nextBegan_ = kNever;       ///< when a later frame began
    bool tailClosed_ = false;     ///< nothing more is awaited behind the horizon
    bool doomed_ = false;
    bool refused_ = false;
    bool lastWasWrong_ = false; ///< the length of the last payload packet
    bool confirmed_ = false;
    bool skipped_ = false;
    bool finished_ = true;
};

} // namespace net
