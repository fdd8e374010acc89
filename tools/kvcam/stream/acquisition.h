/** What the control side of a camera asks of its stream. */
#pragma once

#include "tools/kvcam/control/memory.h"

#include <cstdint>

namespace kvcam
{

/** The registers of stream channel 0. */
struct StreamTarget {
    std::uint32_t address = 0;       ///< of the client, IPv4, host byte order
    std::uint16_t port = 0;          ///< of the client; 0: the channel is closed
    std::uint16_t fromPort = 0;      ///< of the camera, from which it sends; set by the camera
    std::uint32_t packetSize = 1500; ///< bytes, with the headers of IP and UDP
    std::uint64_t delayTicks = 0;    ///< between two packets
    bool dontFragment = false;
    bool extendedIds = false; ///< frame numbers of 64 bits, packet numbers of 32
};

/** Packets that a client requests again; both numbers included. */
struct ResendRange {
    std::uint64_t block = 0;
    std::uint32_t first = 0;
    std::uint32_t last = 0;
};

/** Threads: any. */
class Acquisition
{
public:
    virtual ~Acquisition() = default;
    static constexpr std::uint32_t kForEver = 0xFFFFFFFF;

    /** The acquisition ends by itself after so many frames. */
    virtual Status Start(std::uint32_t frames) = 0;
    virtual Status Stop() = 0;
    virtual bool IsRunning() const = 0;
    /** Takes effect with the next packet. */
    virtual void SetTarget(const StreamTarget& target) = 0;
    /** One packet as large as the target says. */
    virtual void SendTestPacket() = 0;
    virtual void Resend(const ResendRange& range) = 0;
};

} // namespace kvcam
