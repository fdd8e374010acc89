// A frame that is taken apart into packets and put together again as a client does it.

#include "sim/camera/chunks.h"
#include "tools/kvcam/stream/chunk_ids.h"
#include "tools/kvcam/stream/frame_packets.h"

#include <gmock/gmock.h>

#include <bit>
#include <numeric>
#include <tuple>

namespace
{

using Bytes = std::vector<std::uint8_t>;
using kvcam::FramePackets;
using testing::Values;

std::uint64_t Number(const Bytes& bytes, std::size_t at, std::size_t width)
{
    return std::accumulate(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                           bytes.begin() + static_cast<std::ptrdiff_t>(at + width),
                           std::uint64_t{0},
                           [](std::uint64_t sum, std::uint8_t byte) { return sum << 8 | byte; });
}

class FramePacketsOf : public testing::TestWithParam<std::tuple<std::uint32_t, bool, std::uint16_t>>
{
};

TEST_P(FramePacketsOf, AreTheFrame)
{
    const auto& [packetSize, extended, payloadType] = GetParam();
    Bytes pixels(64 * 48);
    std::iota(pixels.begin(), pixels.end(), std::uint8_t{0});
    Bytes chunks(sim::ChunkBytes(0b1101));
    sim::WriteChunks(0b1101, {.gain = 2.5, .timestamp = 77, .counter = 9}, chunks.data());
    const std::uint64_t block = extended ? 0x123456789AB : 0xFFFE;
    const FramePackets packets({.pixels = pixels,
                                .pixelsThere = pixels.size(),
                                .chunks = chunks,
                                .pixelFormat = 0x01080001,
                                .width = 64,
                                .height = 48,
                                .offsetX = 8,
                                .offsetY = 2,
                                .ticks = 0x1'0000'0002},
                               {packetSize, payloadType, block, extended});

    Bytes payload;
    const std::size_t header = extended ? 20 : 8;
    for (std::uint32_t packet = 0; packet <= packets.Trailer(); ++packet) {
        const Bytes bytes = packets.Datagram(packet, kvcam::kResent);
        const unsigned content = packet == 0 ? 1 : packet == packets.Trailer() ? 2 : 3;
        ASSERT_EQ(Number(bytes, 0, 2), kvcam::kResent);
        ASSERT_EQ(Number(bytes, 4, 1), extended ? content | 0x80 : content);
        ASSERT_EQ(extended ? Number(bytes, 8, 8) : Number(bytes, 2, 2), block);
        ASSERT_EQ(extended ? Number(bytes, 16, 4) : Number(bytes, 5, 3), packet);
        if (content == 3) {
            payload.insert(payload.end(), bytes.begin() + static_cast<std::ptrdiff_t>(header),
                           bytes.end());
            ASSERT_LE(bytes.size() + 28, packetSize);
            ASSERT_TRUE(packet + 1 == packets.Trailer() || bytes.size() + 28 == packetSize);
        }
    }
    const Bytes leader = packets.Datagram(0);
    const Bytes trailer = packets.Datagram(packets.Trailer());
    EXPECT_EQ(Number(leader, header, 4), payloadType);
    EXPECT_EQ(Number(leader, header + 4, 8), 0x1'0000'0002);
    EXPECT_EQ(Number(trailer, header, 4), payloadType);
    if (payloadType != kvcam::kChunkPayload) {
        EXPECT_EQ(Number(leader, header + 12, 8), 0x01080001'00000040);
        EXPECT_EQ(Number(leader, header + 20, 8), 0x00000030'00000008);
        EXPECT_EQ(Number(leader, header + 28, 8), 0x00000002'00000000);
        EXPECT_EQ(Number(trailer, header + 4, 4), 48);
    } else {
        EXPECT_EQ(Number(trailer, header + 4, 4), payload.size());
    }

    // Chunks are read from the end of the payload.
    const std::uint64_t values[] = {9, 77, std::bit_cast<std::uint64_t>(2.5)};
    const std::uint32_t ids[] = {sim::kChunkCounter, sim::kChunkTimestamp, sim::kChunkGain};
    for (std::size_t i = 0; payloadType != kvcam::kImagePayload && i < 3; ++i) {
        ASSERT_GE(payload.size(), 16U);
        EXPECT_EQ(Number(payload, payload.size() - 16, 8), values[i]);
        EXPECT_EQ(Number(payload, payload.size() - 8, 4), kvcam::ChunkId(ids[i]));
        EXPECT_EQ(Number(payload, payload.size() - 4, 4), 8);
        payload.resize(payload.size() - 16);
    }
    if (payloadType != kvcam::kImagePayload) {
        EXPECT_EQ(Number(payload, payload.size() - 8, 8),
                  std::uint64_t{kvcam::kImageChunk} << 32 | pixels.size());
        payload.resize(payload.size() - 8);
    }
    EXPECT_EQ(payload, pixels);
}

// 3072 pixels: with 804 or 816 bytes they fill whole packets.
INSTANTIATE_TEST_SUITE_P(Forms, FramePacketsOf,
                         testing::Combine(Values(100U, 804U, 816U, 1500U, 9000U), testing::Bool(),
                                          Values(1, 4, 0x4001)));

} // namespace
