/** The chunk data that a camera sends behind the pixels of a frame.
 *
 *  Layout of one chunk, without padding, little endian:
 *
 *      0  u32  id, see Chunk
 *      4  u32  bytes of the value: 8
 *      8       value: f64 for gain (linear factor) and exposure time (us), u64 for the others
 *
 *  The enabled chunks follow each other in the order of their ids. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace sim
{

enum Chunk : std::uint32_t { kChunkGain, kChunkExposureTime, kChunkTimestamp, kChunkCounter };
constexpr std::size_t kChunkKinds = 4;

struct ChunkValues {
    double gain = 0;
    double exposureUs = 0;
    std::uint64_t timestamp = 0; ///< ticks
    std::uint64_t counter = 0;   ///< frames since the camera's power-up
};

/** Bytes of the chunks in `mask` (bit n: chunk n). */
std::size_t ChunkBytes(unsigned mask);

/** Writes the chunks in `mask` to `to`, which has room for ChunkBytes(mask). */
void WriteChunks(unsigned mask, const ChunkValues& values, std::uint8_t* to);

} // namespace sim
