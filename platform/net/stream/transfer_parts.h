/** What both kinds of transfer have in common. */
#pragma once

#include <cstdint>
#include <string>

namespace net
{

/** Bits of the register of the packet size that are the size. */
constexpr std::uint32_t kPacketSizeBits = 0xFFFF;

/** What is wrong with the size of a packet that the camera gives, in bytes with all headers, or "".
 */
std::string PacketSizeFault(std::uint64_t bytes);

} // namespace net
