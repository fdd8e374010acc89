/** Reads a camera's bootstrap registers over a socket of our own: no control needed, nothing of the
 *  network library's state touched, and the time it takes is ours to choose.
 *
 *  Addresses and layouts are those of the GigE Vision control protocol (GVCP). */
#pragma once

#include <cstdint>
#include <span>

namespace net
{

/** Bootstrap registers, by address. */
enum BootstrapRegister : std::uint32_t {
    kDeviceVersion = 0x0088,    ///< text of 32 bytes
    kHeartbeatTimeout = 0x0938, ///< milliseconds
    kControlPrivilege = 0x0A00, ///< 0: nobody has control
    kStreamPacketDelay = 0x0D08 ///< of channel 0, ticks of the time stamp counter
};

enum class Answer {
    Given,
    Refused, ///< the camera's host says that nobody listens there, or the camera says no
    Silent
};

/** One camera's control port. One thread at a time. */
class GvcpClient
{
public:
    /** IPv4, host byte order. */
    explicit GvcpClient(std::uint32_t address);
    ~GvcpClient();
    GvcpClient(const GvcpClient&) = delete;
    GvcpClient& operator=(const GvcpClient&) = delete;

    Answer ReadRegister(std::uint32_t address, std::uint32_t* value, int timeoutMs);
    /** Fills `bytes`, whose size is a multiple of 4, up to 512. */
    Answer ReadMemory(std::uint32_t address, std::span<std::uint8_t> bytes, int timeoutMs);

private:
    Answer Ask(std::uint16_t command, std::span<const std::uint8_t> question,
               std::span<std::uint8_t> answer, int timeoutMs);

    int socket_ = -1;
    std::uint16_t requestId_ = 0;
};

} // namespace net
