/** The numbers of the GigE Vision control protocol (GVCP), and its datagrams as bytes. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kvcam
{

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

constexpr std::uint16_t kControlPort = 3956;
constexpr std::uint8_t kCommandKey = 0x42;           ///< the first byte of each command
constexpr std::uint8_t kAcknowledgeFlag = 0x01;      ///< the client wants an answer
constexpr std::uint8_t kExtendedIdsFlag = 0x10;      ///< in a PACKETRESEND
constexpr std::size_t kHeaderBytes = 8;              ///< of commands and answers
constexpr std::size_t kMostDatagramBytes = 576 - 28; ///< without the headers of IP and UDP
constexpr std::size_t kMostDataBytes = kMostDatagramBytes - kHeaderBytes - 4; ///< of one access

enum class Command : std::uint16_t {
    Discovery = 0x0002,
    ForceIp = 0x0004,
    PacketResend = 0x0040,
    ReadReg = 0x0080,
    WriteReg = 0x0082,
    ReadMem = 0x0084,
    WriteMem = 0x0086,
    PendingAck = 0x0089
};

/** A client, as the network knows it. Host byte order. */
struct Endpoint {
    std::uint32_t address = 0; ///< IPv4
    std::uint16_t port = 0;
    bool operator==(const Endpoint&) const = default;
};

// The caller has checked that the bytes are there.
constexpr std::uint16_t Get16(ByteView from, std::size_t at)
{
    return static_cast<std::uint16_t>(from[at] << 8 | from[at + 1]);
}

constexpr std::uint32_t Get32(ByteView from, std::size_t at)
{
    return static_cast<std::uint32_t>(Get16(from, at)) << 16 | Get16(from, at + 2);
}

constexpr void Put32(std::span<std::uint8_t> to, std::size_t at, std::uint32_t value)
{
    for (std::size_t i = 0; i < 4; ++i) {
        to[at + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
    }
}

inline void Append16(Bytes& to, std::uint32_t value)
{
    to.push_back(static_cast<std::uint8_t>(value >> 8));
    to.push_back(static_cast<std::uint8_t>(value));
}

inline void Append32(Bytes& to, std::uint32_t value)
{
    to.resize(to.size() + 4);
    Put32(to, to.size() - 4, value);
}

} // namespace kvcam
