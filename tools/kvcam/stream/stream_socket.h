/** The UDP socket from which a camera sends its stream, and where it sends to.
 *
 *  Threads: any. */
#pragma once

#include "tools/kvcam/stream/acquisition.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <netinet/in.h>
#include <sys/socket.h>

namespace kvcam
{

class StreamSocket
{
public:
    /** Binds to this address (host byte order) and a port that the system chooses. Raises
     *  std::runtime_error when that fails. */
    explicit StreamSocket(std::uint32_t address);
    ~StreamSocket();
    StreamSocket(const StreamSocket&) = delete;
    StreamSocket& operator=(const StreamSocket&) = delete;

    std::uint16_t Port() const { return port_; }
    void SetTarget(const StreamTarget& target);
    StreamTarget Target() const;

    /** Sends the messages in order, waiting while the system has no room for them. Returns how many
     *  were sent or are lost, as packets on a wire may be. It is less than `count` if the system
     *  refused to cut a message of several packets into pieces; from then on it isn't asked again
     *  for this target. */
    std::size_t Send(mmsghdr* messages, std::size_t count);

    /** Whether one message may hold several packets. */
    bool Segments() const { return segments_.load(std::memory_order_relaxed); }
    /** For measurements. */
    void ForbidSegments();

private:
    const int handle_;
    std::uint16_t port_ = 0;
    bool forbidden_ = false;
    std::atomic<bool> segments_{true};
    mutable std::mutex mutex_;
    StreamTarget target_; // under the mutex
};

} // namespace kvcam
