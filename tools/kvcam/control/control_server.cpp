#include "tools/kvcam/control/control_server.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>
#include <netinet/in.h>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace kvcam
{

namespace
{

constexpr std::uint32_t kEverybody = 0xFFFFFFFF; // 255.255.255.255
constexpr int kAtOnce = 64;                      // datagrams of one socket before the others' turn

sockaddr_in SocketAddress(std::uint32_t address, std::uint16_t port)
{
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = htonl(address);
    return to;
}

std::uint32_t HostOrder(const sockaddr* address)
{
    sockaddr_in internet{};
    std::memcpy(&internet, address, sizeof internet);
    return ntohl(internet.sin_addr.s_addr);
}

std::runtime_error NoInterface(std::uint32_t address)
{
    return std::runtime_error(
        fmt::format("no camera can be at {}: no network interface of this machine has that address",
                    AddressText(address)));
}

/** The index of the interface that the datagram came over; 0: unknown. */
unsigned ArrivedOver(msghdr& message)
{
    for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr;
         part = CMSG_NXTHDR(&message, part)) {
        if (part->cmsg_level == IPPROTO_IP && part->cmsg_type == IP_PKTINFO) {
            in_pktinfo info{};
            std::memcpy(&info, CMSG_DATA(part), sizeof info);
            return static_cast<unsigned>(info.ipi_ifindex);
        }
    }
    return 0;
}

} // namespace

std::uint32_t ParseAddress(const std::string& text)
{
    in_addr address{};
    if (inet_pton(AF_INET, text.c_str(), &address) != 1) {
        throw std::runtime_error(fmt::format("'{}' is not an IPv4 address", text));
    }
    return ntohl(address.s_addr);
}

std::string AddressText(std::uint32_t address)
{
    return fmt::format("{}.{}.{}.{}", address >> 24, address >> 16 & 0xFF, address >> 8 & 0xFF,
                       address & 0xFF);
}

/** An interface has its addresses; the loopback interface has all addresses of its network. */
Interface InterfaceOf(std::uint32_t address)
{
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) {
        throw std::runtime_error(
            fmt::format("the network interfaces can't be listed: {}", std::strerror(errno)));
    }
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> freed(list, freeifaddrs);
    std::optional<Interface> found;
    for (const ifaddrs* one = list; one != nullptr; one = one->ifa_next) {
        if (one->ifa_addr == nullptr || one->ifa_addr->sa_family != AF_INET ||
            one->ifa_netmask == nullptr) {
            continue;
        }
        const std::uint32_t own = HostOrder(one->ifa_addr);
        const std::uint32_t mask = HostOrder(one->ifa_netmask);
        const bool isLoopback = (one->ifa_flags & IFF_LOOPBACK) != 0;
        if (own == address || (!found && isLoopback && (own & mask) == (address & mask))) {
            found = Interface{if_nametoindex(one->ifa_name), mask, address | ~mask};
        }
    }
    if (!found) {
        throw NoInterface(address);
    }
    return *found;
}

ControlSockets::ControlSockets(std::uint32_t address, const Interface& interface)
    : interface_(interface.index)
{
    try {
        own_ = Open(address, false);
        broadcast_ = Open(kEverybody, true);
        if (interface.broadcast != address && interface.broadcast != kEverybody) {
            subnet_ = Open(interface.broadcast, true);
        }
        wake_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        if (wake_ < 0) {
            throw std::runtime_error(fmt::format("no eventfd: {}", std::strerror(errno)));
        }
    } catch (...) {
        Close();
        throw;
    }
}

ControlSockets::~ControlSockets()
{
    Close();
}

void ControlSockets::Close()
{
    for (const int handle : {own_, broadcast_, subnet_, wake_}) {
        if (handle >= 0) {
            close(handle);
        }
    }
}

/** Broadcasts reach every camera of this machine, so their sockets are shared. The camera's own
 *  socket isn't: of two programs at one address, each would hear only some of the commands. */
int ControlSockets::Open(std::uint32_t address, bool shared)
{
    const int handle = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (handle < 0) {
        throw std::runtime_error(fmt::format("no socket: {}", std::strerror(errno)));
    }
    const int on = 1;
    setsockopt(handle, IPPROTO_IP, IP_PKTINFO, &on, sizeof on);
    if (shared) {
        setsockopt(handle, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    }
    const sockaddr_in own = SocketAddress(address, kControlPort);
    if (bind(handle, reinterpret_cast<const sockaddr*>(&own), sizeof own) == 0) {
        return handle;
    }
    const int error = errno;
    close(handle);
    if (error == EADDRNOTAVAIL) {
        throw NoInterface(address);
    }
    throw std::runtime_error(
        fmt::format("no camera can be at {}: port {} there: {}", AddressText(address), kControlPort,
                    error == EADDRINUSE ? "another program uses it" : std::strerror(error)));
}

void ControlSockets::Serve(CommandDesk& desk, const std::function<std::int64_t()>& nowNs)
{
    for (const int handle : {own_, broadcast_, subnet_}) {
        for (int taken = 0; handle >= 0 && taken < kAtOnce; ++taken) {
            if (!TakeFrom(handle, desk, nowNs)) {
                break;
            }
        }
    }
    Send(desk, nowNs());
}

/** False: nothing has arrived at this socket. */
bool ControlSockets::TakeFrom(int handle, CommandDesk& desk,
                              const std::function<std::int64_t()>& nowNs)
{
    std::array<std::uint8_t, 2048> bytes{};
    alignas(cmsghdr) std::array<char, 256> control{};
    sockaddr_in from{};
    iovec place{bytes.data(), bytes.size()};
    msghdr message{};
    message.msg_name = &from;
    message.msg_namelen = sizeof from;
    message.msg_iov = &place;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t size = recvmsg(handle, &message, 0);
    if (size < 0) {
        return false;
    }
    const bool broadcast = handle != own_;
    if ((message.msg_flags & MSG_TRUNC) == 0 &&
        (!broadcast || ArrivedOver(message) == interface_)) {
        const std::int64_t ns = nowNs();
        desk.Take(ByteView(bytes).first(static_cast<std::size_t>(size)),
                  {ntohl(from.sin_addr.s_addr), ntohs(from.sin_port)}, broadcast, ns);
        Send(desk, ns);
    }
    return true;
}

void ControlSockets::Send(CommandDesk& desk, std::int64_t nowNs) const
{
    for (const Reply& reply : desk.Due(nowNs)) {
        const sockaddr_in to = SocketAddress(reply.to.address, reply.to.port);
        // An answer that can't be sent is lost, as on the wire; the client asks again.
        [[maybe_unused]] const ssize_t sent =
            sendto(own_, reply.bytes.data(), reply.bytes.size(), 0,
                   reinterpret_cast<const sockaddr*>(&to), sizeof to);
    }
}

void ControlSockets::Wait(std::int64_t ns) const
{
    constexpr std::int64_t kNsPerS = 1'000'000'000;
    std::array<pollfd, 4> waiting{pollfd{own_, POLLIN, 0}, pollfd{broadcast_, POLLIN, 0},
                                  pollfd{subnet_, POLLIN, 0}, pollfd{wake_, POLLIN, 0}};
    const timespec time{ns / kNsPerS, ns % kNsPerS};
    ppoll(waiting.data(), waiting.size(), &time, nullptr);
}

void ControlSockets::Wake() const
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(wake_, &one, sizeof one);
}

ControlServer::ControlServer(ControlSockets& sockets, CommandDesk& desk,
                             std::function<std::int64_t()> nowNs)
    : sockets_(sockets), desk_(desk), nowNs_(std::move(nowNs)), thread_([this] { Run(); })
{
}

ControlServer::~ControlServer()
{
    ends_.store(true);
    sockets_.Wake();
    thread_.join();
}

void ControlServer::Run()
{
    constexpr std::int64_t kLongestNs = 3'600'000'000'000;
    while (!ends_.load()) {
        sockets_.Serve(desk_, nowNs_);
        sockets_.Wait(std::clamp<std::int64_t>(desk_.NextNs() - nowNs_(), 0, kLongestNs));
    }
}

} // namespace kvcam
