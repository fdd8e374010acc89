/** Sends packets of frames from the memory where they are: no pixel is copied. As many packets as
 *  possible are handed over at once, and the system cuts them apart (UDP segmentation offload);
 * with an inter-packet delay they leave one by one.
 *
 *  Threads: one. Several senders may share a socket. */
#pragma once

#include "tools/kvcam/stream/frame_packets.h"
#include "tools/kvcam/stream/stream_socket.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <netinet/in.h>
#include <span>
#include <sys/socket.h>
#include <sys/uio.h>
#include <vector>

namespace kvcam
{

/** Time as the camera knows it. */
struct PacketClock {
    std::function<std::int64_t()> nowNs;
    std::function<void(std::int64_t)> sleepUntilNs;
    std::int64_t tickFrequency; ///< Hz, of the delay between packets
};

class PacketSender
{
public:
    PacketSender(StreamSocket& socket, PacketClock clock);

    /** Sends packets `first` to `last` of the frame, but not those that it doesn't have. Returns
     *  early when the channel is closed or `stop` is set. `*unsent` rises to the number of the
     * first packet whose sending hasn't begun. */
    void Send(const FramePackets& packets, std::uint32_t first, std::uint32_t last,
              std::uint16_t status, const std::atomic<bool>& stop,
              std::atomic<std::uint32_t>* unsent = nullptr);
    void SendDatagram(std::span<const std::uint8_t> datagram);

private:
    /** Both return the first packet behind those that they have dealt with. */
    std::uint32_t SendBatch(const FramePackets& packets, std::uint32_t first, std::uint32_t last,
                            std::uint16_t status, std::atomic<std::uint32_t>* unsent);
    std::uint32_t AddMessage(const FramePackets& packets, std::uint32_t first, std::uint32_t last,
                             std::uint16_t status, bool segments);
    void Begin(const StreamTarget& target);
    std::int64_t DelayNs(const StreamTarget& target) const;
    void WaitForTurn(std::int64_t delayNs, std::uint32_t packets);

    struct Control { // of a message that the system is to cut into packets
        alignas(cmsghdr) std::uint8_t bytes[CMSG_SPACE(sizeof(std::uint16_t))];
    };
    StreamSocket& socket_;
    PacketClock clock_;
    std::int64_t turnNs_ = 0; // of the next packet
    sockaddr_in to_{};
    // Of one batch; nothing in it moves while it is filled.
    std::vector<Packet> packets_;
    std::vector<iovec> parts_;
    std::vector<Control> controls_;
    std::vector<mmsghdr> messages_;
    std::vector<std::uint32_t> firsts_; // the first packet of each message
};

} // namespace kvcam
