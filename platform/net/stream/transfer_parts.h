/** What both kinds of transfer have in common. */
#pragma once

#include "gev_api.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace net
{

constexpr std::uint64_t kForEver = ~std::uint64_t{0};
constexpr std::uint32_t kForEverAsked = 0xFFFFFFFF;
constexpr auto kSlice = std::chrono::milliseconds(50); ///< after which a wait checks the state
constexpr std::uint32_t kRequests = 4;                 ///< for which a held frame leaves time

/** Bits of the register of the packet size that are the size. */
constexpr std::uint32_t kPacketSizeBits = 0xFFFF;

/** What is wrong with the size of a packet that the camera gives, in bytes with all headers, or "".
 */
std::string PacketSizeFault(std::uint64_t bytes);

/** The place that has this record as its `entry`; null for a record that is none of ours. Never
 *  followed before that is known. */
template <class Place> Place* PlaceOf(std::vector<Place>& places, const _tag_GEVBUF_ENTRY* frame)
{
    const auto first = reinterpret_cast<std::uintptr_t>(&places.front().entry);
    const std::uintptr_t offset = reinterpret_cast<std::uintptr_t>(frame) - first;
    const std::uintptr_t index = offset / sizeof(Place);
    const bool ours = offset % sizeof(Place) == 0 && index < places.size();
    return ours ? &places[index] : nullptr;
}

} // namespace net
