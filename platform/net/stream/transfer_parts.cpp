#include "net/stream/transfer_parts.h"

#include "net/stream/gvsp_packet.h"

#include <fmt/format.h>

namespace net
{

std::string PacketSizeFault(std::uint64_t bytes)
{
    constexpr std::uint64_t kLeast = kUdpHeaders + kGvspExtendedHeader + 1;
    return bytes >= kLeast
               ? ""
               : fmt::format("GevSCPSPacketSize: the camera gives {} bytes, where {} to "
                             "{} are possible",
                             bytes, kLeast, kPacketSizeBits);
}

} // namespace net
