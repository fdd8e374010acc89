#include "util/lut_table.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

using namespace KvTd;

static std::vector<std::uint16_t> Ramp(std::size_t entries, int factor)
{
    std::vector<std::uint16_t> table(entries);
    for (std::size_t i = 0; i < entries; ++i) {
        table[i] = static_cast<std::uint16_t>(i * static_cast<std::size_t>(factor));
    }
    return table;
}

TEST(LutTable, ConfiguredOnesAreThinnedAndShiftedWithoutRounding)
{
    // Entries, bits and the factor of the table's ramp; the second entry and the last.
    for (const auto& [entries, bits, factor, second, last] : {
             std::tuple{256U, 8, 1, 1U, 255U}, // as it is
             {1024U, 8, 1, 4U, 1020U},
             {4096U, 12, 1, 1U, 255U},
             {256U, 12, 15, 0U, 239U}, // 15 >> 4
             {767U, 8, 1, 2U, 510U},   // every second one; not the last
             {256U, 9, 2, 1U, 255U},   // by one bit
             {256U, 6, 1, 4U, 1020U},  // to the left
             {256U, 40, 255, 0U, 0U},  // no bit is left
         }) {
        SCOPED_TRACE(testing::Message() << entries << " of " << bits << " bits");
        const std::vector<std::uint16_t> source = Ramp(entries, factor);
        DeviceLut table{};
        EXPECT_TRUE(ConvertConfiguredLut(source, bits, table));
        EXPECT_EQ(table[0], 0U);
        EXPECT_EQ(table[1], second);
        EXPECT_EQ(table[255], last);
    }
}

TEST(LutTable, DynamicKnotsAreDoubledWithRounding)
{
    std::vector<std::uint16_t> source(kDynamicLutKnots, 0);
    source[0] = 7;     // rounds down
    source[1] = 8;     // up; between them 15 >> 1 is 7
    source[2] = 40;    // 2.5, up; between 8 and 40: 24, 1.5, up
    source[126] = 100; // between them 2098, 131.1
    source[127] = 4096;
    DeviceLut table{};
    for (const auto& [full, size] : {std::pair{false, kDynamicLutKnots}, // what is no full one:
                                     {true, kDynamicLutKnots},
                                     {true, kDynamicLutFull - 1}}) {
        source.resize(size);
        table.fill(77);
        EXPECT_TRUE(ConvertDynamicLut(source, full, table));
        EXPECT_EQ(std::vector(table.begin(), table.begin() + 6),
                  (std::vector<std::uint32_t>{0, 0, 1, 2, 3, 1}));
        EXPECT_EQ(std::vector(table.end() - 4, table.end()),
                  (std::vector<std::uint32_t>{6, 131, 256, 256}))
            << "the last stands twice; nothing is clamped";
    }
}

TEST(LutTable, FullDynamicTableGivesEverySixteenth)
{
    std::vector<std::uint16_t> source = Ramp(kDynamicLutFull, 1);
    source[16] = 24;
    source[32] = 23;
    DeviceLut table{};
    EXPECT_TRUE(ConvertDynamicLut(source, true, table));
    EXPECT_EQ(std::vector(table.begin(), table.begin() + 4),
              (std::vector<std::uint32_t>{0, 2, 1, 3}));
    EXPECT_EQ(table[255], 255U);
    EXPECT_TRUE(ConvertDynamicLut(source, false, table));
    EXPECT_EQ(table[255], 8U) << "its first 128";
}

TEST(LutTable, TooShortOnesAreLeftAlone)
{
    DeviceLut table;
    table.fill(77);
    EXPECT_FALSE(ConvertConfiguredLut(Ramp(255, 1), 8, table));
    EXPECT_FALSE(ConvertDynamicLut(Ramp(127, 1), false, table));
    EXPECT_FALSE(ConvertDynamicLut({}, true, table));
    EXPECT_EQ(table[0], 77U);
    EXPECT_EQ(table[255], 77U);
}
