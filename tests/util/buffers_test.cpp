#include "util/flat_block.h"
#include "util/prof_ring.h"

#include <gtest/gtest.h>
#include <vector>

namespace KvTd
{

static const void* At(std::uintptr_t address)
{
    return reinterpret_cast<const void*>(address); // NOLINT(performance-no-int-to-ptr)
}

TEST(FlatBlock, BuffersLieEvenlySpaced)
{
    struct Case {
        std::uint32_t size;
        std::vector<std::uintptr_t> buffers;
        bool flat;
        std::uint64_t stride;
    };
    for (const Case& c : {Case{0x800, {0x1000, 0x2000, 0x3000}, true, 0x1000},
                          {0x800, {0x1000, 0x2000, 0x3800}, false, 0x1000},
                          {0x1000, {0x1000, 0x2000}, true, 0x1000},
                          {0x1001, {0x1000, 0x2000}, false, 0},
                          {0x800, {0x2000, 0x1000}, false, 0},
                          {0x800, {0x1000, 0x1000}, false, 0},
                          {0x800, {0x1000, 0x2000, 0}, false, 0x1000},
                          {0x800, {0x1000, 0x100001000, 0x200001000}, true, 0x100000000},
                          {0x800, {0x1000}, true, 0}}) {
        FlatBlock block(At(c.buffers[0]), c.size);
        bool flat = true;
        for (std::size_t i = 1; i < c.buffers.size(); ++i) {
            flat = flat && block.Add(At(c.buffers[i]));
        }
        EXPECT_EQ(flat, c.flat) << std::hex << c.size << " " << c.buffers.back();
        EXPECT_EQ(block.Stride(), c.stride);
    }
}

TEST(ProfRing, TwentyValuesAndAPosition)
{
    std::uint32_t ring[kProfRingSize] = {};
    std::uint32_t position = 0;
    for (std::uint32_t i = 1; i <= 21; ++i) {
        ProfRingPut(ring, position, i);
        EXPECT_EQ(position, i % 20);
    }
    EXPECT_EQ(ring[0], 21U);
    EXPECT_EQ(ring[1], 2U);
    EXPECT_EQ(ring[19], 20U);
}

} // namespace KvTd
