#include "tools/kvcam/udp_socket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace kvcam
{

namespace
{

[[noreturn]] void Refuse(const sockaddr_in& endpoint)
{
    char text[INET_ADDRSTRLEN] = "";
    const int why = errno;
    inet_ntop(AF_INET, &endpoint.sin_addr, text, sizeof text);
    throw std::runtime_error(std::string("no socket at ") + text + ", port " +
                             std::to_string(ntohs(endpoint.sin_port)) + ": " + std::strerror(why));
}

} // namespace

sockaddr_in EndpointOf(const std::string& address, std::uint16_t port)
{
    sockaddr_in endpoint{};
    endpoint.sin_family = AF_INET;
    endpoint.sin_port = htons(port);
    if (inet_pton(AF_INET, address.c_str(), &endpoint.sin_addr) != 1) {
        throw std::runtime_error("'" + address + "' is no IPv4 address");
    }
    return endpoint;
}

UdpSocket::UdpSocket() : handle_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    if (handle_ < 0) {
        throw std::runtime_error(std::string("no socket: ") + std::strerror(errno));
    }
}

UdpSocket::~UdpSocket()
{
    close(handle_);
}

void UdpSocket::Bind(const sockaddr_in& own)
{
    if (bind(handle_, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) {
        Refuse(own);
    }
}

void UdpSocket::Connect(const sockaddr_in& other)
{
    if (connect(handle_, reinterpret_cast<const sockaddr*>(&other), sizeof other) != 0) {
        Refuse(other);
    }
}

} // namespace kvcam
