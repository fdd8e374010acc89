#include "net/stream/stream_socket.h"

#include "net/stream/gvsp_packet.h"

#include <linux/sock_diag.h>
#include <netinet/udp.h>
#include <poll.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fmt/format.h>
#include <utility>

namespace net
{

namespace
{

constexpr std::uint16_t kControlPort = 3956;
constexpr std::int64_t kUsPerMs = 1000;
constexpr std::int64_t kNsPerMs = 1'000'000;
constexpr std::int64_t kNsPerS = 1'000'000'000;
constexpr std::int64_t kLongestWaitMs = 20;
constexpr std::size_t kHotBytes = std::size_t{128} << 10; ///< that stay in the processor's cache
constexpr std::size_t kLittleBytes = std::size_t{32} << 10;
constexpr int kUdpGro = 104; ///< UDP_GRO, which older headers lack

sockaddr_in Endpoint(std::uint32_t address, std::uint16_t port)
{
    sockaddr_in endpoint{};
    endpoint.sin_family = AF_INET;
    endpoint.sin_addr.s_addr = htonl(address);
    endpoint.sin_port = htons(port);
    return endpoint;
}

const sockaddr* Generic(const sockaddr_in& endpoint)
{
    return reinterpret_cast<const sockaddr*>(&endpoint);
}

bool SetOption(int socket, int level, int name, int value)
{
    return setsockopt(socket, level, name, &value, sizeof value) == 0;
}

void Sleep(std::int64_t ns)
{
    const timespec time{ns / kNsPerS, ns % kNsPerS};
    nanosleep(&time, nullptr);
}

/** Whether the packet is the first of a frame. One that says how large its image is must have it
 *  right. */
bool BeginsFrame(std::span<const std::uint8_t> datagram, const StreamSource& source)
{
    GvspPacket packet;
    GvspLeader leader;
    if (!ReadPacket(datagram, &packet) || packet.status != 0 || packet.id != 0 ||
        packet.content != GvspContent::Leader || !ReadLeader(packet.data, &leader)) {
        return false;
    }
    constexpr std::uint16_t kExtendedChunks = 0x4000;
    constexpr std::uint16_t kNewestType = 0x0B;
    const unsigned type = leader.payloadType & ~unsigned{kExtendedChunks};
    if (type == 0 || type > kNewestType) { // no camera has it
        return false;
    }
    return !IsReceived(leader.payloadType) || leader.width == 0 ||
           (leader.width == source.width && leader.height == source.height);
}

/** What the system says about a message besides its bytes. */
void ReadControl(msghdr& header, Datagrams* datagrams)
{
    for (cmsghdr* entry = CMSG_FIRSTHDR(&header); entry != nullptr;
         entry = CMSG_NXTHDR(&header, entry)) {
        if (entry->cmsg_level == IPPROTO_UDP && entry->cmsg_type == kUdpGro) {
            int segment = 0;
            std::memcpy(&segment, CMSG_DATA(entry), sizeof segment);
            if (segment > 0) {
                datagrams->segment = static_cast<std::size_t>(segment);
            }
        } else if (entry->cmsg_level == SOL_SOCKET && entry->cmsg_type == SO_TIMESTAMPNS) {
            timespec time{};
            std::memcpy(&time, CMSG_DATA(entry), sizeof time);
            datagrams->arrivedNs = time.tv_sec * kNsPerS + time.tv_nsec;
        }
    }
}

} // namespace

StreamSocket::~StreamSocket()
{
    if (socket_ >= 0) {
        close(socket_);
    }
}

/** To an address and a port that are given explicitly: those that the system chooses for a socket
 * are lost again when it is disconnected. Connected to a port from which the camera sends no
 * stream, so that nothing comes in yet. */
bool StreamSocket::Bind()
{
    constexpr int kAttempts = 10; // somebody may take the port in between
    const sockaddr_in control = Endpoint(camera_, kControlPort);
    for (int i = 0; i < kAttempts; ++i) {
        const int probe = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_in own{};
        socklen_t size = sizeof own;
        const bool known = probe >= 0 && connect(probe, Generic(control), sizeof control) == 0 &&
                           getsockname(probe, reinterpret_cast<sockaddr*>(&own), &size) == 0;
        const int error = errno;
        if (probe >= 0) {
            close(probe);
        }
        if (!known) {
            errno = error;
            return false;
        }
        ownAddress_ = ntohl(own.sin_addr.s_addr);
        ownPort_ = ntohs(own.sin_port);
        socket_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        if (socket_ < 0) {
            return false;
        }
        if (bind(socket_, Generic(own), sizeof own) == 0) {
            return connect(socket_, Generic(control), sizeof control) == 0;
        }
        close(std::exchange(socket_, -1));
    }
    return false;
}

std::string StreamSocket::Open(std::uint32_t camera, std::uint64_t bufferBytes)
{
    const auto failed = [](const char* what) {
        return fmt::format("{}: {}", what, std::strerror(errno));
    };
    camera_ = camera;
    if (!Bind()) {
        return failed("no socket can be bound to an address towards the camera");
    }
    const int wanted = static_cast<int>(std::min<std::uint64_t>(bufferBytes, 1U << 30));
    if (!SetOption(socket_, SOL_SOCKET, SO_RCVBUFFORCE, wanted)) { // for which a right is needed
        SetOption(socket_, SOL_SOCKET, SO_RCVBUF, wanted);
    }
    int got = 0;
    socklen_t size = sizeof got;
    getsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &got, &size);
    bufferBytes_ = static_cast<std::uint64_t>(std::max(got, 0));
    // Without the first of these the system hands packets over one by one, without the second the
    // time is taken when they are received.
    SetOption(socket_, IPPROTO_UDP, kUdpGro, 1);
    SetOption(socket_, SOL_SOCKET, SO_TIMESTAMPNS, 1);
    const timeval longest{0, kLongestWaitMs * kUsPerMs};
    if (setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &longest, sizeof longest) != 0) {
        return failed("the socket can't be set up");
    }
    slots_ = std::make_unique_for_overwrite<std::uint8_t[]>(kBatch * kStride);
    for (std::size_t i = 0; i < kBatch; ++i) {
        places_[i] = {slots_.get() + i * kStride, kLargest};
        messages_[i].msg_hdr.msg_iov = &places_[i];
        messages_[i].msg_hdr.msg_iovlen = 1;
        messages_[i].msg_hdr.msg_control = controls_[i].bytes.data();
    }
    return "";
}

std::uint64_t StreamSocket::Dropped() const
{
    std::array<std::uint32_t, SK_MEMINFO_VARS> memory{};
    socklen_t size = sizeof memory;
    getsockopt(socket_, SOL_SOCKET, SO_MEMINFO, memory.data(), &size);
    return memory[SK_MEMINFO_DROPS];
}

void StreamSocket::Expect(const StreamSource& source)
{
    // Nothing more comes in while the queue is emptied: the control port sends no stream.
    const sockaddr_in control = Endpoint(camera_, kControlPort);
    connect(socket_, Generic(control), sizeof control);
    while (Ask(0) > 0) {
    }
    source_ = source;
    const bool known = source.port != 0;
    for (std::size_t i = 0; i < kBatch; ++i) { // the system fills only what is asked for
        messages_[i].msg_hdr.msg_name = known ? nullptr : &froms_[i];
    }
    Connect();
}

/** While the port isn't known, everybody may send. */
void StreamSocket::Connect()
{
    if (source_.port != 0) {
        const sockaddr_in camera = Endpoint(camera_, source_.port);
        connect(socket_, Generic(camera), sizeof camera);
        return;
    }
    sockaddr_in nobody{};
    nobody.sin_family = AF_UNSPEC;
    connect(socket_, Generic(nobody), sizeof nobody);
}

bool StreamSocket::IsOurs(const msghdr& header, std::span<const std::uint8_t> bytes)
{
    if (header.msg_name == nullptr) {
        return true;
    }
    const sockaddr_in& from = *static_cast<const sockaddr_in*>(header.msg_name);
    if (ntohl(from.sin_addr.s_addr) != camera_) {
        return false;
    }
    if (source_.port == 0 && BeginsFrame(bytes, source_)) {
        source_.port = ntohs(from.sin_port);
        Connect();
    }
    return source_.port != 0 && ntohs(from.sin_port) == source_.port;
}

/** The number of messages that came, or 0. */
int StreamSocket::Ask(std::int64_t waitNs)
{
    int flags = MSG_DONTWAIT;
    if (waitNs >= kLongestWaitMs * kNsPerMs) {
        flags = MSG_WAITFORONE;
    } else if (waitNs > 0) {
        pollfd waiting{.fd = socket_, .events = POLLIN, .revents = 0};
        const timespec time{0, waitNs};
        if (ppoll(&waiting, 1, &time, nullptr) <= 0) {
            return 0;
        }
    }
    for (std::size_t i = 0; i < batch_; ++i) {
        messages_[i].msg_hdr.msg_namelen =
            messages_[i].msg_hdr.msg_name == nullptr ? 0 : sizeof froms_[i];
        messages_[i].msg_hdr.msg_controllen = sizeof controls_[i].bytes;
    }
    const int count =
        recvmmsg(socket_, messages_.data(), static_cast<unsigned>(batch_), flags, nullptr);
    if (count < 0 && errno != EAGAIN && errno != EINTR) {
        Sleep(kNsPerMs); // the camera's host says that nobody listens there, for instance
    }
    return std::max(count, 0);
}

std::span<const Datagrams> StreamSocket::Receive(std::int64_t waitNs)
{
    const auto count = static_cast<std::size_t>(Ask(waitNs));
    std::size_t kept = 0;
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t size = std::min<std::size_t>(messages_[i].msg_len, kLargest);
        bytes += size;
        Datagrams& datagrams = received_[kept];
        datagrams = {{slots_.get() + i * kStride, size}, std::max<std::size_t>(size, 1), 0};
        ReadControl(messages_[i].msg_hdr, &datagrams);
        const std::size_t first = std::min(size, datagrams.segment);
        kept += IsOurs(messages_[i].msg_hdr, datagrams.bytes.first(first)) ? 1 : 0;
    }
    more_ = count == batch_;
    little_ = !more_ && bytes < kLittleBytes;
    // Few large messages or many small ones: as many as fit the cache between here and the copy.
    if (bytes > kHotBytes) {
        batch_ = std::max<std::size_t>(batch_ / 2, 1);
    } else if (count == batch_) {
        batch_ = std::min(batch_ * 2, kBatch);
    }
    return std::span(received_).first(kept);
}

void StreamSocket::Send(std::span<const std::uint8_t> command) const
{
    const sockaddr_in control = Endpoint(camera_, kControlPort);
    sendto(socket_, command.data(), command.size(), MSG_DONTWAIT | MSG_NOSIGNAL, Generic(control),
           sizeof control);
}

} // namespace net
