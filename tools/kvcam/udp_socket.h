/** A UDP socket, closed by its destructor. */
#pragma once

#include <netinet/in.h>
#include <string>

namespace kvcam
{

/** An IPv4 address and a port; raises std::runtime_error when the text is no address. */
sockaddr_in EndpointOf(const std::string& address, std::uint16_t port);

class UdpSocket
{
public:
    /** Makes a non-blocking socket. Raises std::runtime_error when that fails. */
    UdpSocket();
    ~UdpSocket();
    UdpSocket(const UdpSocket&) = delete;
    UdpSocket& operator=(const UdpSocket&) = delete;

    /** Raise std::runtime_error with the system's reason. */
    void Bind(const sockaddr_in& own);
    void Connect(const sockaddr_in& other);
    int Handle() const { return handle_; }

private:
    int handle_;
};

} // namespace kvcam
