#include "session/dynamic_lut.h"
#include "tests/base/text_cases.h"
#include "tests/host/export/picture_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

using namespace kvgrab;

namespace
{

using Cdf = std::vector<std::uint32_t>;
using Lut = std::vector<std::uint16_t>;

Cdf Levels(PixelLayout layout, const std::vector<std::uint8_t>& image, std::uint32_t width,
           std::uint32_t height, unsigned bits)
{
    Cdf cdf((std::size_t{1} << bits) + 1, 7);
    CountLevels({layout, image.data(), width, height, width}, bits, cdf.data());
    EXPECT_EQ(cdf.back(), 7U) << "nothing beyond the table";
    cdf.pop_back();
    return cdf;
}

/** What the camera is given, by the driver's rules for tables of 128 knots and of 4096 entries. */
std::vector<unsigned> DeviceTable(const Lut& lut, unsigned bits)
{
    std::vector<unsigned> table(256);
    for (unsigned i = 0; i < 256; ++i) {
        const unsigned k = i / 2;
        unsigned value = bits == 12 ? lut[16 * i] : lut[k];
        if (bits != 12 && i % 2 == 1 && k != 127) {
            value = (lut[k] + lut[k + 1]) / 2U;
        }
        table[i] = (value + 8) >> 4;
    }
    return table;
}

Lut Table(DynamicLut& dynamic, const Cdf& cdf, unsigned bits)
{
    Lut lut((std::size_t{1} << bits) + 1, 0xABCD);
    dynamic.MakeTable(bits, cdf.data(), 12, lut.data());
    EXPECT_EQ(lut.back(), 0xABCD) << "nothing beyond the table";
    lut.pop_back();
    EXPECT_TRUE(std::is_sorted(lut.begin(), lut.end()));
    EXPECT_LE(lut.back(), 4087);
    return lut;
}

/** Cumulative counts of a distribution over 2^bits levels. */
template <class Density> Cdf Distribution(unsigned bits, Density density)
{
    Cdf cdf(std::size_t{1} << bits);
    std::uint32_t sum = 0;
    for (std::size_t level = 0; level < cdf.size(); ++level) {
        const double share = static_cast<double>(level) / static_cast<double>(cdf.size());
        sum += static_cast<std::uint32_t>(density(share));
        cdf[level] = sum;
    }
    return cdf;
}

/** All pixels between a quarter and a half of the range. */
double Flat(double level)
{
    return level >= 0.25 && level < 0.5 ? 1000 : 0;
}

} // namespace

TEST(LevelCount, EveryLayoutCountsUpToItsLevels)
{
    ExpectOutcomes(SESSION_CASES "/level_cases.txt", [](const std::string& text) {
        std::size_t at = 0;
        const auto bits = static_cast<unsigned>(std::stoul(text, &at));
        const PictureText picture(text.substr(at));
        const Cdf cdf = Levels(LayoutOfCodec(picture.codec), picture.bytes, picture.width,
                               picture.height, bits);
        std::string rises;
        for (std::size_t level = 0; level < cdf.size(); ++level) {
            if (cdf[level] != (level == 0 ? 0 : cdf[level - 1])) {
                rises += fmt::format("{}{:X}:{}", rises.empty() ? "" : " ", level, cdf[level]);
            }
        }
        return rises;
    });
    CountLevels({}, 40, nullptr);
    DynamicLut().MakeTable(40, nullptr, 12, nullptr);
}

TEST(LevelCount, LargePicturesAreSampledEvenly)
{
    constexpr std::uint32_t kWidth = 1000;
    constexpr std::uint32_t kHeight = 2000;
    std::vector<std::uint8_t> image(std::size_t{kWidth} * kHeight);
    for (std::size_t i = 0; i < image.size(); ++i) { // even lines are bright, the lower half more
        image[i] = static_cast<std::uint8_t>((i / kWidth % 2 == 0 ? 100 : 10) +
                                             (i >= image.size() / 2 ? 50 : 0));
    }
    const Cdf cdf = Levels(PixelLayout::kBayerRg8, image, kWidth, kHeight, 8);
    EXPECT_LE(cdf[255], 600'000U);
    EXPECT_GE(cdf[255], 400'000U);
    for (const unsigned level : {10U, 60U, 100U, 150U}) {
        EXPECT_EQ(cdf[level] - cdf[level - 1], cdf[255] / 4) << level;
    }
}

TEST(DynamicTable, WithoutPixelsItChangesNothing)
{
    for (const unsigned bits : {8U, 12U, 16U}) {
        DynamicLut dynamic;
        const auto table =
            DeviceTable(Table(dynamic, Distribution(bits, [](double) { return 0; }), bits), bits);
        for (unsigned i = 0; i < 255; ++i) {
            ASSERT_EQ(table[i], i) << bits;
        }
    }
}

TEST(DynamicTable, SpreadsAFlatPictureWithinTheLimit)
{
    const auto oneLevel = [](double level) { return level == 0.5 ? 1e6 : 0; };
    for (const unsigned bits : {8U, 12U, 16U}) {
        DynamicLut dynamic;
        const auto flat = DeviceTable(Table(dynamic, Distribution(bits, Flat), bits), bits);
        EXPECT_GT(flat[127] - flat[64], 2 * 63U) << bits << ": a quarter of the range before";
        EXPECT_GT(flat[254], 250U);
        dynamic.Forget();
        const auto even = DeviceTable(Table(dynamic, Distribution(bits, oneLevel), bits), bits);
        for (unsigned i = 1; i < 255; ++i) {
            EXPECT_LE(flat[i] - flat[i - 1], 6U) << "steeper than the limit at " << i;
            EXPECT_LE(even[i] - even[i - 1], 6U) << "one level is torn apart at " << i;
        }
    }
}

TEST(DynamicTable, SecondOneSeesThroughTheFirst)
{
    const Cdf scene = Distribution(8, Flat);
    DynamicLut dynamic;
    const auto first = DeviceTable(Table(dynamic, scene, 8), 8);
    Cdf behind(256); // the same scene behind the first table
    for (std::size_t level = 0; level < 256; ++level) {
        for (std::size_t out = first[level]; out < 256; ++out) {
            behind[out] += scene[level] - (level == 0 ? 0 : scene[level - 1]);
        }
    }
    const auto second = DeviceTable(Table(dynamic, behind, 8), 8);
    for (std::size_t i = 0; i < 256; ++i) {
        EXPECT_NEAR(second[i], first[i], 6) << i;
    }
    dynamic.Forget();
    const auto alone = DeviceTable(Table(dynamic, behind, 8), 8);
    EXPECT_GT(first[100] > alone[100] ? first[100] - alone[100] : alone[100] - first[100], 20U);

    DynamicLut excursion; // pictures of 12 bits are seen without the table
    Table(excursion, Distribution(12, Flat), 12);
    const auto even =
        DeviceTable(Table(excursion, Distribution(12, [](double) { return 100; }), 12), 12);
    EXPECT_EQ(even[100], 100U);
}
