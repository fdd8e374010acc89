#include "export/pixels.h"

#include <array>
#include <gmock/gmock.h>
#include <vector>

namespace kvgrab
{
namespace
{

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using Bytes = std::vector<std::uint8_t>;

TEST(Pixels, TwelveBitsFillSixteen)
{
    EXPECT_EQ(Scale12To16(0), 0);
    EXPECT_EQ(Scale12To16(4095), 65535);
    EXPECT_EQ(Scale12To16(0x812), 0x8128);
}

TEST(Pixels, PackedMono12TakesTheFirstPixelsLowBitsFromTheLowNibble)
{
    const Bytes packed = {0xAB, 0x3C, 0xDE, 0x12, 0xF4};
    std::vector<std::uint16_t> pixels(3);
    UnpackMono12Packed(packed, pixels);
    EXPECT_THAT(pixels, ElementsAre(0xABCA, 0xDE3D, 0x1241)) << "the odd one uses two bytes";
    EXPECT_EQ(PictureBytes(PixelLayout::kGrey12Packed, 3, 1), packed.size());
}

TEST(Pixels, Mono12IgnoresTheFourTopBits)
{
    std::vector<std::uint16_t> pixels(2);
    UnpackMono12(Bytes{0xBC, 0xFA, 0x01, 0x00}, pixels);
    EXPECT_THAT(pixels, ElementsAre(0xABCA, 0x0010));
}

TEST(Pixels, UyvyIsFullRangeBt601)
{
    // Pure red, green and blue of BT.601 full range, rounded to bytes, two pixels each.
    const Bytes uyvy = {85, 76, 255, 76, 44, 150, 21, 150, 255, 29, 107, 29, 128, 255, 128, 0};
    Bytes rgb(24);
    UyvyToRgb(uyvy, rgb);
    const auto isNear = [&](std::size_t pixel, std::array<int, 3> colour) {
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_NEAR(rgb[pixel * 3 + i], colour[i], 1) << "pixel " << pixel << " value " << i;
        }
    };
    isNear(0, {254, 0, 0});
    isNear(1, {254, 0, 0});
    isNear(2, {0, 255, 0});
    isNear(4, {0, 0, 254});
    isNear(6, {255, 255, 255});
    isNear(7, {0, 0, 0});
}

TEST(Pixels, OddLastUyvyPixelIsGrey)
{
    Bytes rgb(9);
    UyvyToRgb(Bytes{128, 10, 128, 20, 200, 30}, rgb);
    EXPECT_THAT(rgb, ElementsAre(10, 10, 10, 20, 20, 20, 30, 30, 30));
}

TEST(Pixels, BayerKeepsAFlatColourFlat)
{
    constexpr std::uint32_t kWidth = 5;
    constexpr std::uint32_t kHeight = 3; // odd sizes end on other colours than they begin with
    Bytes bayer(kWidth * kHeight);
    for (std::uint32_t i = 0; i < bayer.size(); ++i) {
        const bool oddLine = i / kWidth % 2 != 0;
        const bool oddColumn = i % kWidth % 2 != 0;
        bayer[i] = oddLine && oddColumn ? 30 : (oddLine || oddColumn ? 20 : 10);
    }
    Bytes rgb(bayer.size() * 3);
    BayerRgToRgb(bayer, kWidth, kHeight, rgb);
    Bytes expected;
    for (std::size_t i = 0; i < bayer.size(); ++i) {
        expected.insert(expected.end(), {10, 20, 30});
    }
    EXPECT_THAT(rgb, ElementsAreArray(expected));
}

TEST(Pixels, BayerTakesMeansOfTheNearestNeighbours)
{
    // R G R G
    // G B G B
    // R G R G
    const Bytes bayer = {100, 8, 201, 0, 4, 50, 7, 60, 40, 12, 80, 0};
    Bytes rgb(bayer.size() * 3);
    BayerRgToRgb(bayer, 4, 3, rgb);
    const auto pixel = [&](std::size_t x, std::size_t y) {
        const auto begin = rgb.begin() + static_cast<std::ptrdiff_t>((y * 4 + x) * 3);
        return Bytes(begin, begin + 3);
    };
    EXPECT_THAT(pixel(1, 1), ElementsAre(105, 8, 50)) << "blue: corners 421/4, cross 31/4";
    EXPECT_THAT(pixel(2, 1), ElementsAre(141, 7, 55)) << "green beside blue";
    EXPECT_THAT(pixel(1, 0), ElementsAre(151, 8, 50)) << "green beside red, mirrored above";
    EXPECT_THAT(pixel(0, 0), ElementsAre(100, 6, 50)) << "corner: mirrored both ways";
}

TEST(Pixels, BayerOfOneLineIsGrey)
{
    Bytes rgb(6);
    BayerRgToRgb(Bytes{7, 9}, 2, 1, rgb);
    EXPECT_THAT(rgb, ElementsAre(7, 7, 7, 9, 9, 9));
}

} // namespace
} // namespace kvgrab
