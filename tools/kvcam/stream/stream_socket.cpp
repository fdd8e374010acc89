#include "tools/kvcam/stream/stream_socket.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fmt/format.h>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>

namespace kvcam
{

namespace
{

constexpr int kSendBuffer = 4 << 20; // bytes, as far as the system permits
constexpr int kMostTries = 1000;     // a millisecond each, until a packet is lost
constexpr int kTryMs = 1;

/** Whether the system says that it can't cut a message into packets: the interface can't, or the
 *  packets are larger than its own. */
bool RefusesSegments(int error)
{
    return error == EINVAL || error == EIO || error == EMSGSIZE || error == EOPNOTSUPP ||
           error == ENOPROTOOPT;
}

/** Waits until there may be room again; false if that has taken too long. */
bool WaitForRoom(int handle, int error, int* tries)
{
    if (++*tries > kMostTries) {
        return false;
    }
    if (error == ENOBUFS || error == ENOMEM) { // the interface's queue is full, not the socket's
        const timespec pause{.tv_sec = 0, .tv_nsec = kTryMs * 1'000'000};
        nanosleep(&pause, nullptr);
        return true;
    }
    pollfd room{handle, POLLOUT, 0};
    poll(&room, 1, kTryMs);
    return true;
}

} // namespace

StreamSocket::StreamSocket(std::uint32_t address)
    : handle_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    sockaddr_in own{};
    own.sin_family = AF_INET;
    own.sin_addr.s_addr = htonl(address);
    socklen_t size = sizeof own;
    if (handle_ < 0 || bind(handle_, reinterpret_cast<const sockaddr*>(&own), size) != 0 ||
        getsockname(handle_, reinterpret_cast<sockaddr*>(&own), &size) != 0) {
        const int why = errno;
        if (handle_ >= 0) {
            close(handle_);
        }
        throw std::runtime_error(fmt::format("no socket for the stream: {}", std::strerror(why)));
    }
    port_ = ntohs(own.sin_port);
    // A smaller buffer only means more waiting.
    setsockopt(handle_, SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof kSendBuffer);
}

StreamSocket::~StreamSocket()
{
    close(handle_);
}

void StreamSocket::SetTarget(const StreamTarget& target)
{
    const int discovery = target.dontFragment ? IP_PMTUDISC_PROBE : IP_PMTUDISC_DONT;
    setsockopt(handle_, IPPROTO_IP, IP_MTU_DISCOVER, &discovery, sizeof discovery);
    const std::lock_guard lock(mutex_);
    target_ = target;
    target_.fromPort = port_;
    segments_ = !forbidden_;
}

StreamTarget StreamSocket::Target() const
{
    const std::lock_guard lock(mutex_);
    return target_;
}

void StreamSocket::ForbidSegments()
{
    const std::lock_guard lock(mutex_);
    forbidden_ = true;
    segments_ = false;
}

std::size_t StreamSocket::Send(mmsghdr* messages, std::size_t count)
{
    std::size_t done = 0;
    for (int tries = 0; done < count;) {
        const int sent = sendmmsg(handle_, messages + done, static_cast<unsigned>(count - done), 0);
        if (sent > 0) {
            done += static_cast<std::size_t>(sent);
            tries = 0;
            continue;
        }
        const int error = errno;
        if (error == EINTR) {
            continue;
        }
        const bool full = error == EAGAIN || error == ENOBUFS || error == ENOMEM;
        const bool refused = error == ECONNREFUSED; // an answer to an earlier packet
        if ((full && WaitForRoom(handle_, error, &tries)) || (refused && ++tries < kMostTries)) {
            continue;
        }
        if (messages[done].msg_hdr.msg_controllen != 0 && RefusesSegments(error)) {
            segments_ = false;
            return done;
        }
        ++done; // lost
        tries = 0;
    }
    return done;
}

} // namespace kvcam
