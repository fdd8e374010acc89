#include "sim/picture/scene.h"

#include "tests/support/alloc_count.h"

#include "tests/platform/picture/picture_of.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>

namespace sim
{

namespace
{

using ::testing::Each;
using ::testing::ElementsAre;

class EveryFormat : public ::testing::TestWithParam<std::uint32_t>
{
};
INSTANTIATE_TEST_SUITE_P(Scene, EveryFormat, ::testing::ValuesIn(kFormats));

} // namespace

TEST(PixelPacking, LaysOutBytesAsTheFormatSays)
{
    const std::array<std::uint16_t, 3> samples{0xABC, 0x123, 0xFED};
    std::array<std::uint8_t, 6> line{};
    Pack12(samples.data(), 3, line.data());
    EXPECT_THAT(line, ElementsAre(0xAB, 0x3C, 0x12, 0xFE, 0x0D, 0));
    Pack16(samples.data(), 3, line.data());
    EXPECT_THAT(line, ElementsAre(0xBC, 0x0A, 0x23, 0x01, 0xED, 0x0F));
    line = {};
    PackHigh8(samples.data(), 3, line.data());
    EXPECT_THAT(line, ElementsAre(0xAB, 0x12, 0xFE, 0, 0, 0));
}

TEST(PixelPacking, UyvyIsFullRangeWithTheMeanChromaOfAPair)
{
    const std::array<std::uint16_t, 5> red{0xFFF, 0xFFF, 0, 0xFFF, 0};
    const std::array<std::uint16_t, 5> green{0xFFF, 0xFFF, 0, 0, 0};
    const std::array<std::uint16_t, 5> blue{0xFFF, 0xFFF, 0, 0, 0xFFF};
    std::array<std::uint8_t, 11> line{};
    line.back() = 77;
    PackUyvy(red.data(), green.data(), blue.data(), 5, line.data());
    // white, white | black, red: V of half a red is 128 + 127 / 2 | blue alone
    EXPECT_THAT(line, ElementsAre(128, 255, 128, 255, 107, 0, 191, 77, 255, 29, 77));
}

TEST(PixelPacking, SizesOfPicturesAndUnknownFormats)
{
    std::map<std::uint32_t, std::size_t> sizes;
    for (const std::uint32_t format : kFormats) {
        sizes[format] = PictureBytes(6, 3, format);
    }
    EXPECT_EQ(sizes, (std::map<std::uint32_t, std::size_t>{{kMono8, 18},
                                                           {kBayerRg8, 18},
                                                           {kMono12Packed, 27},
                                                           {kMono12, 36},
                                                           {kYuv422Packed, 36}}));
    EXPECT_EQ(PictureBytes(3, 3, kMono12Packed), 14U);
    EXPECT_EQ(PictureBytes(6, 3, 0x02180014), 0U);
    std::array<std::uint8_t, 4> untouched{1, 1, 1, 1};
    Scene().Paint(JobOf(0x02180014), untouched.data(), untouched.size());
    EXPECT_THAT(untouched, Each(1));
}

TEST_P(EveryFormat, RegionIsCutOutOfTheWholeSensorAsItIsTurned)
{
    for (const bool turned : {false, true}) {
        PictureJob job = JobOf(GetParam());
        job.reverseX = job.reverseY = turned;
        const auto whole = Pixels(PictureOf(job), GetParam());
        job.offsetX = 100;
        job.offsetY = 206;
        job.width = 302;
        job.height = 161;
        const auto region = Pixels(PictureOf(job), GetParam());
        for (std::uint32_t y = 0; y < job.height; ++y) {
            const auto line = region.begin() + y * job.width;
            ASSERT_TRUE(std::equal(line, line + job.width,
                                   whole.begin() + (y + job.offsetY) * 640 + job.offsetX))
                << "line " << y << " turned " << turned;
        }
    }
}

TEST(Reversal, MirrorsEachAxis)
{
    for (const std::uint32_t format : {kMono8, kMono12Packed, kMono12, kYuv422Packed}) {
        PictureJob job = JobOf(format);
        const auto upright = Pixels(PictureOf(job), format);
        auto expected = upright;
        for (auto line = expected.begin(); line != expected.end(); line += 640) {
            std::reverse(line, line + 640);
        }
        job.reverseX = true;
        EXPECT_EQ(Pixels(PictureOf(job), format), expected) << format;
        EXPECT_NE(expected, upright);
        std::reverse(expected.begin(), expected.end()); // both ways in all, that is y alone
        job.reverseX = false;
        job.reverseY = true;
        EXPECT_EQ(Pixels(PictureOf(job), format), expected) << format;
        EXPECT_NE(expected, upright);
    }
}

/** In the red field of the colour bars only the red tiles are lit. */
TEST(Bayer, FirstPixelIsRedWhereverTheRegionLiesAndHoweverItIsTurned)
{
    for (const unsigned turn : {0U, 1U, 2U, 3U}) {
        for (const std::uint32_t odd : {0U, 1U}) {
            PictureJob job = JobOf(kBayerRg8);
            job.reverseX = (turn & 1) != 0;
            job.reverseY = (turn & 2) != 0;
            job.width = job.height = 4;
            job.offsetX = (job.reverseX ? 640 - 440 : 420) + odd; // bar 5 of 8: 400 to 480
            job.offsetY = (job.reverseY ? 480 - 70 : 60) + odd;
            const Bytes image = PictureOf(job);
            EXPECT_THAT(image, ElementsAre(191, 0, 191, 0, 0, 0, 0, 0, 191, 0, 191, 0, 0, 0, 0, 0))
                << "turn " << turn << " odd " << odd;
        }
    }
}

TEST(Brightness, FollowsExposureTimesGainAndClipsAtWhite)
{
    PictureJob job = JobOf(kMono12);
    const auto once = Pixels(PictureOf(job), kMono12);
    job.exposureUs *= 2;
    const auto twice = Pixels(PictureOf(job), kMono12);
    std::set<unsigned> levels;
    for (std::size_t i = 0; i < once.size(); ++i) {
        ASSERT_EQ(twice[i], std::min(2 * once[i], 4095U)) << "pixel " << i;
        levels.insert(once[i]);
    }
    EXPECT_GT(levels.size(), 300U); // a scene of two levels would prove little
    job.exposureUs /= 4;
    job.gain = 4;
    EXPECT_EQ(Pixels(PictureOf(job), kMono12), twice);
}

TEST(Brightness, ImpossibleSettingsGiveBlackOrWhite)
{
    PictureJob job = JobOf(kMono8, 64, 64);
    for (const double gain : {0.0, -1.0, std::nan("")}) {
        job.gain = gain;
        EXPECT_THAT(PictureOf(job), Each(0)) << gain;
    }
    job.gain = HUGE_VAL;
    EXPECT_THAT(PictureOf(job), Each(::testing::AnyOf(0, 255)));
    EXPECT_THAT(PictureOf(job), ::testing::Contains(255));
}

/** Reads the large number back, digit by digit, by comparing it with pictures of known numbers. */
TEST(FrameNumber, CanBeReadBackFromThePictureAndFromARegionOfIt)
{
    constexpr std::uint32_t kNumber = 907'351;
    for (const bool region : {false, true}) {
        PictureJob job = JobOf(kMono8, 1920, 1080);
        if (region) { // holds one of the small numbers wholly
            job.offsetX = 320;
            job.offsetY = 0;
            job.width = 320;
            job.height = 60;
        } else { // the band of the large number
            job.offsetY = 320;
            job.height = 260;
        }
        job.frameNumber = kNumber;
        const Bytes shown = PictureOf(job);
        std::uint32_t read = 0;
        for (std::uint32_t place = 1; place <= 100'000; place *= 10) {
            std::vector<std::uint32_t> fitting;
            for (std::uint32_t digit = 0; digit < 10; ++digit) {
                job.frameNumber = kNumber - kNumber / place % 10 * place + digit * place;
                if (PictureOf(job) == shown) {
                    fitting.push_back(digit);
                }
            }
            ASSERT_EQ(fitting.size(), 1U) << "place " << place;
            read += fitting.front() * place;
        }
        EXPECT_EQ(read, kNumber);
    }
}

TEST(FrameNumber, MovesBarAndChequer)
{
    PictureJob job = JobOf(kMono8);
    job.offsetY = 262; // grey ramp
    job.height = 30;
    const Bytes ramp = PictureOf(job);
    PictureJob chequer = job;
    chequer.offsetY = 362;
    chequer.height = 50;
    const Bytes squares = PictureOf(chequer);
    ++job.frameNumber;
    ++chequer.frameNumber;
    EXPECT_NE(PictureOf(job), ramp);
    EXPECT_NE(PictureOf(chequer), squares);
}

TEST_P(EveryFormat, NothingIsWrittenBeyondTheSize)
{
    const PictureJob job = JobOf(GetParam(), 66, 50);
    const Bytes whole = PictureOf(job);
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{1000},
                                   whole.size() - 1, whole.size(), whole.size() + 50}) {
        Bytes image(whole.size() + 100, 0xA5);
        Scene().Paint(job, image.data(), size);
        const std::size_t painted = std::min(size, whole.size());
        EXPECT_TRUE(
            std::equal(image.begin(), image.begin() + static_cast<long>(painted), whole.begin()))
            << size;
        EXPECT_TRUE(std::all_of(image.begin() + static_cast<long>(painted), image.end(),
                                [](std::uint8_t byte) { return byte == 0xA5; }))
            << size;
    }
}

/** Sizes that no camera offers: the painter must neither crash nor leave its picture. */
TEST_P(EveryFormat, OddAndTinySizesAndRegionsOverTheEdgeAreSafe)
{
    for (const std::uint32_t width : {1U, 2U, 3U, 7U, 33U}) {
        for (const std::uint32_t height : {1U, 2U, 5U, 31U}) {
            PictureJob job = JobOf(GetParam(), width, height);
            job.reverseX = true;
            EXPECT_EQ(Pixels(PictureOf(job), GetParam()).size(), std::size_t{width} * height);
            job.offsetX = width - 1;
            job.offsetY = 0xFFFFFFFF;
            for (const unsigned pixel : Pixels(PictureOf(job), GetParam())) {
                ASSERT_EQ(pixel, 0U);
            }
        }
    }
    PictureJob nothing = JobOf(GetParam(), 0, 0);
    nothing.width = nothing.height = 4;
    EXPECT_THAT(Pixels(PictureOf(nothing), GetParam()), Each(0U));
}

TEST(Mono12Packed, LinesOfOddWidthFollowEachOtherWithoutPadding)
{
    PictureJob job = JobOf(kMono12Packed, 33, 47);
    const auto packed = Pixels(PictureOf(job), kMono12Packed);
    job.pixelFormat = kMono12;
    EXPECT_EQ(packed, Pixels(PictureOf(job), kMono12));
}

TEST_P(EveryFormat, PaintingTheSameGeometryAgainAllocatesNothing)
{
    Scene scene;
    PictureJob job = JobOf(GetParam());
    Bytes image(PictureBytes(job.width, job.height, job.pixelFormat));
    if (!rig::CountsAllocations()) {
        GTEST_SKIP() << "sanitizers keep the allocator to themselves";
    }
    const std::uint64_t atStart = rig::Allocations();
    scene.Paint(job, image.data(), image.size());
    const std::uint64_t first = rig::Allocations();
    EXPECT_GT(first, atStart); // the counting works
    job.frameNumber = 4'000'000'000;
    job.exposureUs = 777;
    job.reverseX = job.reverseY = true;
    scene.Paint(job, image.data(), image.size());
    EXPECT_EQ(rig::Allocations(), first);
}

} // namespace sim
