/** The numbers of the GigE Vision control protocol (GVCP), and its datagrams as bytes. */
#pragma once

#include "tools/kvcam/big_endian.h"

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
inline std::uint16_t Get16(ByteView from, std::size_t at)
{
    return static_cast<std::uint16_t>(TakeBigEndian(from.subspan(at, 2)));
}

inline std::uint32_t Get32(ByteView from, std::size_t at)
{
    return static_cast<std::uint32_t>(TakeBigEndian(from.subspan(at, 4)));
}

inline void Put32(std::span<std::uint8_t> to, std::size_t at, std::uint32_t value)
{
    PutBigEndian(value, to.subspan(at, 4));
}

inline void Append16(Bytes& to, std::uint32_t value)
{
    to.resize(to.size() + 2);
    PutBigEndian(value, std::span(to).last(2));
}

inline void Append32(Bytes& to, std::uint32_t value)
{
    to.resize(to.size() + 4);
    PutBigEndian(value, std::span(to).last(4));
}

} // namespace kvcam
