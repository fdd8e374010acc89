/** The ids of the chunks in a frame, in the description and on the wire. */
#pragma once

#include <cstdint>

namespace kvcam
{

constexpr std::uint32_t kImageChunk = 0x4B56'0001;
constexpr std::uint32_t kFirstValueChunk = 0x4B56'0010;
constexpr std::uint32_t kChunkValueBytes = 8;

/** `chunk` is one of sim::Chunk. Gain and exposure time (us) are doubles, the others are unsigned
 *  integers of 64 bits, all big endian. */
constexpr std::uint32_t ChunkId(std::uint32_t chunk)
{
    return kFirstValueChunk + chunk;
}

} // namespace kvcam
