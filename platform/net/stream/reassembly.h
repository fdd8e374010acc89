/** Puts the packets of a stream channel together to frames.
 *
 *  Pure: packets and times come in; frames, requests for lost packets and counts go out. There is
 * no socket and no clock, and no packet can do more than fill a buffer or be counted: whatever it
 *  says is checked before it is used.
 *
 *  Frames are delivered in the order of their numbers. A frame is given up as soon as its packets
 *  can't arrive any more: after its retention, or when the camera refuses to send them again. One
 *  that is damaged holds those behind it back for its retention at most. */
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>

namespace net
{

/** Nanoseconds of any clock that never goes back. */
using Ns = std::int64_t;

struct ReassemblySettings {
    std::uint64_t bufferBytes = 0;
    std::uint32_t packetSize = 0;    ///< bytes with all headers, of a full packet
    std::uint64_t payloadBytes = 0;  ///< of one frame with its chunks, as the camera says
    bool requests = false;           ///< the camera sends packets again
    std::uint32_t mostRequested = 0; ///< packets per frame
    Ns reorderWindow = 0;            ///< after which a gap is taken for a loss
    Ns requestTimeout = 0;           ///< after which a packet is requested once more
    Ns retention = 0;                ///< of a frame, since its newest packet
};

/** Why a frame is incomplete. */
enum class FrameFault {
    None,
    PacketsMissing,
    Refused,        ///< the camera doesn't have the packets any more
    TooLarge,       ///< for the buffer
    UnknownPayload, ///< of a payload type that isn't received
    Malformed       ///< its packets contradict each other
};

/** A frame that left the reassembly. Its buffer belongs to the caller until AddBuffer. */
struct ReceivedFrame {
    std::uint32_t buffer = 0; ///< index
    FrameFault fault = FrameFault::None;
    bool hasLeader = false;   ///< if not, there is only the number
    std::uint64_t number = 0; ///< block id, as the camera sent it
    bool extendedIds = false;
    std::uint16_t payloadType = 0;
    std::uint64_t ticks = 0;
    std::uint32_t pixelFormat = 0;
    std::uint32_t width = 0;  ///< pixels
    std::uint32_t height = 0; ///< lines
    std::uint64_t bytes = 0;  ///< from the start of the buffer, without a gap when complete
    Ns firstPacket = 0;       ///< when it came
    std::uint32_t packetsReceived = 0;
    std::uint32_t packetsResent = 0; ///< of those
    std::uint32_t packetsMissing = 0;
};

/** Packets to request again, both numbers included. */
struct ResendRequest {
    std::uint64_t number = 0; ///< of the frame
    bool extendedIds = false;
    std::uint32_t first = 0;
    std::uint32_t last = 0;
};

/** Since Restart. */
struct ReassemblyCounts {
    std::uint64_t packets = 0;   ///< all that came, whatever they were
    std::uint64_t resent = 0;    ///< that came after they had been requested
    std::uint64_t requested = 0; ///< packets
    std::uint64_t missing = 0;   ///< of frames that were given up, and of frames never seen
    std::uint64_t duplicate = 0;
    std::uint64_t late = 0;       ///< of frames that have left
    std::uint64_t malformed = 0;  ///< too short, of no known kind, or with impossible numbers
    std::uint64_t refused = 0;    ///< answers that a packet can't be sent again
    std::uint64_t framesLost = 0; ///< never seen: numbers that were left out
    std::uint64_t framesWithoutBuffer = 0;
    std::uint64_t framesUnknownPayload = 0;
    std::uint64_t packetsOfFrame = 0; ///< of the newest complete one, or as the settings give it
};

/** Whether a free buffer may be filled. If none may, the first one is filled, after it was asked
 * for once more as the last choice. Must not call the reassembly. */
using MayFill = std::function<bool(std::uint32_t buffer, bool lastChoice)>;

/** Free buffers are filled in the order in which they became free; one that may not be filled goes
 *  behind the others. One thread at a time. */
class Reassembly
{
public:
    /** The buffers outlive this object; each has settings.bufferBytes. None is free at first. */
    Reassembly(const ReassemblySettings& settings, std::span<std::uint8_t* const> buffers,
               MayFill mayFill);
    ~Reassembly();
    Reassembly(const Reassembly&) = delete;
    Reassembly& operator=(const Reassembly&) = delete;

    /** A new acquisition: its frame numbers start again. Buffers of frames that were under way or
     *  not yet taken are free again. */
    void Restart(const ReassemblySettings& settings);
    /** The buffer may be filled. */
    void AddBuffer(std::uint32_t buffer);

    /** One datagram of the camera. Allocates nothing. */
    void Take(std::span<const std::uint8_t> packet, Ns now);
    /** What is due: requests, and frames to be given up. */
    void Tick(Ns now);
    /** When to call Tick at the latest if no packet comes; the largest value: never. */
    Ns Due() const;

    /** The next frame in order; false: none is ready. */
    bool Next(ReceivedFrame* frame);
    /** The next request to be sent; false: none. */
    bool NextRequest(ResendRequest* request);
    const ReassemblyCounts& Counts() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace net
