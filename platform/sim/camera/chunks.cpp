#include "sim/camera/chunks.h"

#include <bit>
#include <cstring>

namespace sim
{

namespace
{

constexpr std::uint32_t kValueBytes = 8;
constexpr std::size_t kChunkSize = 2 * sizeof(std::uint32_t) + kValueBytes;

} // namespace

std::size_t ChunkBytes(unsigned mask)
{
    return static_cast<std::size_t>(std::popcount(mask)) * kChunkSize;
}

void WriteChunks(unsigned mask, const ChunkValues& values, std::uint8_t* to)
{
    const std::array<std::uint64_t, kChunkKinds> raw = {
        std::bit_cast<std::uint64_t>(values.gain), std::bit_cast<std::uint64_t>(values.exposureUs),
        values.timestamp, values.counter};
    for (std::uint32_t id = 0; id < kChunkKinds; ++id) {
        if ((mask & (1U << id)) == 0) {
            continue;
        }
        std::memcpy(to, &id, sizeof id);
        std::memcpy(to + 4, &kValueBytes, sizeof kValueBytes);
        std::memcpy(to + 8, &raw[id], sizeof raw[id]);
        to += kChunkSize;
    }
}

} // namespace sim
