/** The stream channel with its faults: what it is asked to send reaches the wire as the faults have
 *  it. */
#pragma once

#include "tools/kvcam/stream/packet_sender.h"
#include "tools/kvcam/stream/sent_frame.h"
#include "tools/kvcam/stream/stream_faults.h"
#include "tools/kvcam/stream/stream_socket.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

namespace kvcam
{

/** What the threads that send share. */
struct Channel {
    StreamSocket socket;
    StreamSocket strangersSocket;
    const PacketClock clock;
    const std::function<bool()> isPresent; ///< a camera that has left the network sends nothing
    std::mutex faultsMutex;
    StreamFaults faults; ///< under the mutex
    /** Sends a datagram at a point in time. */
    std::function<void(std::vector<std::uint8_t> datagram, std::int64_t whenNs)> sendLater = {};
};

/** Threads: one; each has its own. */
class FaultyChannel
{
public:
    explicit FaultyChannel(Channel& channel);

    /** Sends these packets of the frame; `resent`: once more. Returns early when `stop` is set. */
    void Send(SentFrame* frame, std::uint32_t first, std::uint32_t last, bool resent,
              const std::atomic<bool>& stop);
    /** Past all faults. */
    void SendDatagram(std::span<const std::uint8_t> datagram) { sender_.SendDatagram(datagram); }

private:
    Channel& channel_;
    PacketSender sender_;
    PacketSender stranger_;
    std::vector<Outgoing> outgoing_;
};

} // namespace kvcam
