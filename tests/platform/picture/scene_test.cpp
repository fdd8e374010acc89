#include "sim/picture/scene.h"

#include "tests/support/alloc_count.h"

#include "tests/platform/picture/picture_of.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <set>

namespace sim
{

namespace
{

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::DoubleNear;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Gt;
using ::testing::Lt;

class EveryFormat : public ::testing::TestWithParam<std::uint32_t>
{
};
INSTANTIATE_TEST_SUITE_P(Scene, EveryFormat, ::testing::ValuesIn(kFormats));

/** A small region of one of the colour bars. */
PictureJob Bar(std::uint32_t format, std::uint32_t bar)
{
    return Region(JobOf(format), {bar * 80 + 20, 60, 4, 2});
}

/** A flat grey region of 75 % light. */
PictureJob Flat(std::uint32_t format)
{
    PictureJob job = Region(JobOf(format, 2048, 1024), {8, 72, 240, 140});
    job.noise = 1;
    job.noiseSeed = 42;
    return job;
}

double DeviationOf(const PictureJob& job)
{
    const auto pixels = PixelsOf(job);
    const double mean =
        std::accumulate(pixels.begin(), pixels.end(), 0.0) / static_cast<double>(pixels.size());
    double squares = 0;
    for (const unsigned pixel : pixels) {
        squares += (pixel - mean) * (pixel - mean);
    }
    return std::sqrt(squares / static_cast<double>(pixels.size()));
}

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
    PackMosaic(samples.data(), samples.data() + 1, 3, line.data());
    EXPECT_THAT(line, ElementsAre(0xAB, 0x12, 0x12, 0, 0, 0));
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
    EXPECT_THAT(line, ElementsAre(128, 255, 128, 255, 106, 0, 192, 77, 255, 29, 77));
}

TEST(PixelPacking, UnknownFormatsAreNotPainted)
{
    EXPECT_EQ(PictureBytes(6, 3, 0x02180014), 0U);
    std::array<std::uint8_t, 4> untouched{1, 1, 1, 1};
    Scene().Paint(JobOf(0x02180014), untouched.data(), untouched.size());
    EXPECT_THAT(untouched, Each(1));
}

/** Lines of odd width follow each other without padding. A mosaic starts anew in every region;
 *  where its colours are is tested below. */
TEST_P(EveryFormat, RegionIsCutOutOfTheTurnedSensor)
{
    const bool mosaic = GetParam() == kBayerRg8;
    const auto upright = PixelsOf(JobOf(GetParam()));
    for (const unsigned turn : {0U, 1U, 2U, 3U}) {
        PictureJob job = JobOf(GetParam());
        job.reverseX = (turn & 1) != 0;
        job.reverseY = (turn & 2) != 0;
        const auto whole = PixelsOf(job);
        const auto region = PixelsOf(Region(job, {100, 206, 301, 161}));
        for (std::uint32_t i = 0; i < 301 * 161; ++i) {
            const std::uint32_t x = 100 + i % 301;
            const std::uint32_t y = 206 + i / 301;
            ASSERT_EQ(region[i], whole[y * 640 + x]) << turn;
            const std::uint32_t column = job.reverseX ? 639 - x : x;
            const std::uint32_t row = job.reverseY ? 479 - y : y;
            ASSERT_TRUE(mosaic || region[i] == upright[row * 640 + column]) << turn;
        }
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
            job = Region(job, {(job.reverseX ? 640 - 440 : 420) + odd, // bar 5 of 8: 400 to 480
                               (job.reverseY ? 480 - 70 : 60) + odd, 4, 4});
            EXPECT_THAT(PictureOf(job),
                        ElementsAre(191, 0, 191, 0, 0, 0, 0, 0, 191, 0, 191, 0, 0, 0, 0, 0))
                << "turn " << turn << " odd " << odd;
        }
    }
}

TEST_P(EveryFormat, BrightnessFollowsExposureTimesGainAndClipsAtWhite)
{
    PictureJob job = JobOf(GetParam(), 320, 240);
    const auto plain = PixelsOf(job);
    const double top = Is12Bit(GetParam()) ? 4095 : 255;
    EXPECT_GT(std::set(plain.begin(), plain.end()).size(), 60U); // few levels would prove little
    std::vector<unsigned> before(plain.size());
    for (const double factor : {0.01, 0.3, 1.5, 2.0, 3.99, 7.0, 250.0}) {
        job.exposureUs = factor * kReferenceExposureUs;
        job.gain = 1;
        const auto lit = PixelsOf(job);
        for (std::size_t i = 0; i < plain.size(); ++i) {
            ASSERT_GE(lit[i], before[i]) << factor;
            if (factor < 1 || GetParam() != kYuv422Packed) { // of its colours one clips first
                ASSERT_NEAR(lit[i], std::min(factor * plain[i], top), 2 + factor) << factor;
            }
        }
        job.exposureUs = kReferenceExposureUs;
        job.gain = factor;
        EXPECT_EQ(PixelsOf(job), lit) << factor;
        before = lit;
    }
    job.gain = HUGE_VAL;
    EXPECT_EQ(PixelsOf(job)[320 * 30 + 10], top);
    for (const double impossible : {0.0, -1.0, std::nan("")}) {
        job.gain = impossible;
        EXPECT_THAT(PixelsOf(job), Each(0)) << impossible;
    }
}

/** Balance ahead of the clip, the curve behind it; both of their channel only. */
TEST(Color, BalanceAndToneActOnTheirChannel)
{
    struct Case {
        std::uint32_t bar; ///< 0: 75 % everywhere, 5: red, 7: black
        double exposure;
        std::array<double, 3> balance;
        bool toned;
        std::array<int, 3> channels; ///< expected
        int grey;                    ///< of a picture without colours
    };
    const Case cases[] = {{0, 1, {0.5, 1, 2}, false, {95, 191, 255}, 191},
                          {0, 1, {1, 0.5, -1}, false, {191, 95, 0}, 191},
                          {5, 1, {0.5, 4, 4}, false, {95, 0, 0}, 57},
                          {0, 3, {1, 1, 1}, true, {0, 127, 255}, 127},
                          {7, 1, {1, 1, 1}, true, {255, 0, 50}, 0}};
    for (const Case& tested : cases) {
        PictureJob job = Bar(kBayerRg8, tested.bar);
        job.exposureUs *= tested.exposure;
        job.balance = tested.balance;
        job.tone = tested.toned ? Curves() : nullptr;
        const auto& [red, green, blue] = tested.channels;
        EXPECT_THAT(PictureOf(job), ElementsAre(red, green, red, green, green, blue, green, blue));
        job.pixelFormat = kYuv422Packed;
        EXPECT_THAT(PixelsOf(job), Each((77 * red + 150 * green + 29 * blue + 128) >> 8));
        for (const std::uint32_t format : {kMono8, kMono12, kMono12Packed}) {
            job.pixelFormat = format;
            EXPECT_EQ(PixelsOf(job)[0] >> (Is12Bit(format) ? 4 : 0), tested.grey) << tested.bar;
        }
    }
}

/** Each digit shows by itself, in the band of the large number and in a region of a strip. */
TEST(FrameNumber, CanBeReadBackDigitByDigit)
{
    for (const auto& region : {std::array{0U, 320U, 1920U, 260U}, {320U, 0U, 320U, 60U}}) {
        PictureJob job = Region(JobOf(kMono8, 1920, 1080), region);
        for (std::uint32_t place = 1; place <= 100'000; place *= 10) {
            std::set<Bytes> pictures;
            for (std::uint32_t digit = 0; digit < 10; ++digit) {
                job.frameNumber = 907'351 - 907'351 / place % 10 * place + digit * place;
                pictures.insert(PictureOf(job));
            }
            EXPECT_EQ(pictures.size(), 10U) << "place " << place;
        }
    }
}

/** From frame to frame only what moves is drawn again. */
TEST_P(EveryFormat, AFrameLooksAsIfNoneHadBeenPaintedBefore)
{
    const PictureJob sensor = JobOf(GetParam());
    PictureJob turned = sensor;
    turned.reverseX = turned.reverseY = true;
    const PictureJob regions[] = {sensor, Region(turned, {101, 7, 303, 411}),
                                  Region(sensor, {0, 262, 640, 30}),  // ramp
                                  Region(sensor, {0, 362, 640, 50})}; // chequer
    for (PictureJob job : regions) {
        Scene scene;
        Bytes image(PictureBytes(job.width, job.height, GetParam()));
        Bytes before;
        for (const std::uint32_t frame : {1U, 2U, 9U, 10U, 239U, 241U, 999'999U, 1'000'000U, 7U}) {
            job.frameNumber = frame;
            scene.Paint(job, image.data(), image.size());
            ASSERT_EQ(image, PictureOf(job)) << frame << " from line " << job.offsetY;
            ASSERT_NE(image, before) << frame << " from line " << job.offsetY;
            before = image;
        }
    }
}

TEST_P(EveryFormat, WhatWasPaintedBeforeLeavesNothingBehind)
{
    ExpectNothingLeftBehind(GetParam(), [] { return Scene(); });
}

/** Pictures that are too large to be kept are drawn in parts. */
TEST_P(EveryFormat, APictureInPartsIsTheSame)
{
    for (const double noise : {0.0, 1.0}) {
        PictureJob job = JobOf(GetParam(), 165, 97);
        job.noise = noise;
        job.reverseY = true;
        EXPECT_EQ(PictureOf(job, Scene(nullptr, 8192)), PictureOf(job));
        EXPECT_EQ(PictureOf(job, Scene(nullptr, 0)), PictureOf(job));
    }
}

/** Sizes that no camera offers, too: nothing is written beyond the end of the buffer. */
TEST_P(EveryFormat, NothingIsWrittenBeyondTheSize)
{
    for (const std::uint32_t width : {1U, 3U, 17U, 66U, 513U}) {
        PictureJob job = JobOf(GetParam(), width, 5);
        job.reverseX = job.reverseY = true;
        job.noise = width % 2;
        const Bytes whole = PictureOf(job);
        for (const std::size_t size : {std::size_t{0}, std::size_t{1}, whole.size() / 2,
                                       whole.size() - 1, whole.size(), whole.size() + 50}) {
            Bytes image(whole.size() + 100, 0xA5);
            Scene().Paint(job, image.data(), size);
            const auto painted = static_cast<std::ptrdiff_t>(std::min(size, whole.size()));
            EXPECT_TRUE(std::equal(image.begin(), image.begin() + painted, whole.begin())) << size;
            EXPECT_EQ(std::count(image.begin() + painted, image.end(), 0xA5),
                      image.end() - image.begin() - painted)
                << width << ' ' << size;
        }
    }
}

TEST_P(EveryFormat, BeyondTheEdgeOfTheSensorItIsBlack)
{
    for (const std::uint32_t side : {0U, 1U, 2U, 7U, 33U}) {
        PictureJob job = JobOf(GetParam(), side, side);
        job.reverseX = true;
        EXPECT_EQ(PixelsOf(job).size(), std::size_t{side} * side);
        EXPECT_THAT(PixelsOf(Region(job, {side, 0, 5, 4})), Each(0U)) << side;
        EXPECT_THAT(PixelsOf(Region(job, {0, 0xFFFFFFFF, 4, 5})), Each(0U)) << side;
    }
}

/** As docs/simulated_camera.md says: sqrt((2.5 g)^2 + 0.2 g s) in steps of 12 bits. */
TEST(Noise, GrowsWithLightAndGainAndKeepsTheMean)
{
    for (const auto& [sample, gain, noise] :
         {std::array{400.0, 1.0, 0.5}, {400.0, 8.0, 1.0}, {2000.0, 1.0, 2.0}}) {
        PictureJob job = Flat(kMono12);
        job.gain = gain;
        job.exposureUs *= sample / 4095 / 0.75 / gain;
        job.noise = noise;
        const double deviation = noise * std::hypot(2.5 * gain, std::sqrt(0.2 * gain * sample));
        EXPECT_NEAR(DeviationOf(job), deviation, 0.05 * deviation) << sample;
        EXPECT_NEAR(MeanOf(PictureOf(job), kMono12), sample / 16, 0.2) << sample;
    }
}

TEST_P(EveryFormat, NoiseIsAnotherInEachLineAndClipsAtBlackAndWhite)
{
    PictureJob job = Flat(GetParam());
    const Bytes image = PictureOf(job);
    const auto lineBytes = static_cast<std::ptrdiff_t>(image.size() / job.height);
    std::set<Bytes> lines;
    for (auto line = image.begin(); line != image.end(); line += lineBytes) {
        lines.insert(Bytes(line, line + lineBytes));
    }
    EXPECT_EQ(lines.size(), job.height);

    const unsigned top = Is12Bit(GetParam()) ? 4095 : 255;
    job.noise = 8;
    job.exposureUs = 4 * kReferenceExposureUs; // three times white
    EXPECT_THAT(PixelsOf(job), Each(top));
    job.exposureUs /= 3; // just white: nothing may wrap to black
    EXPECT_THAT(PixelsOf(job), AllOf(Each(Gt(top / 2)), Contains(top)));
    job.exposureUs = 10;
    EXPECT_THAT(PixelsOf(job), AllOf(Each(Lt(top / 2)), Contains(0U)));
    for (const double odd : {HUGE_VAL, std::nan(""), -1.0}) { // and no crash
        job.gain = odd;
        job.noise = HUGE_VAL;
        EXPECT_EQ(PixelsOf(job).size(), std::size_t{job.width} * job.height);
    }
}

TEST_P(EveryFormat, MeteringIsTheMeanOfThePaintedPicture)
{
    Scene scene;
    PictureJob whole = JobOf(GetParam(), 1280, 960);
    whole.balance = {1.5, 1, 0.7};
    PictureJob bars = Region(whole, {160, 100, 480, 300});
    bars.reverseX = bars.reverseY = true;
    bars.frameNumber = 907'351;
    PictureJob curved = whole;
    curved.exposureUs = 5000;
    curved.tone = Curves();
    for (const PictureJob& job : {whole, bars, curved, Region(whole, {1000, 800, 900, 400})}) {
        EXPECT_NEAR(scene.Measure(job).mean, MeanOf(PictureOf(job), GetParam()), 0.01 * 255)
            << job.offsetX << ' ' << job.exposureUs;
    }
}

TEST_P(EveryFormat, LightIsMeteredAheadOfExposureGainBalanceAndTone)
{
    PictureJob job = Bar(GetParam(), 5); // red
    job.exposureUs = 123;
    job.gain = 3;
    job.balance = {2, 3, 4};
    job.tone = Curves();
    EXPECT_THAT(Scene().Measure(job).light, ElementsAre(DoubleNear(0.75, 0.001), 0, 0));
    job.width = 0;
    EXPECT_THAT(Scene().Measure(job).light, Each(0));
}

TEST_P(EveryFormat, AllocatesNothingOnceWarm)
{
    Scene scene;
    PictureJob job = JobOf(GetParam());
    Bytes image(PictureBytes(job.width, job.height, job.pixelFormat));
    const auto allocations = [&] {
        const std::uint64_t before = rig::Allocations();
        scene.Paint(job, image.data(), image.size());
        scene.Measure(job);
        return rig::Allocations() - before;
    };
    EXPECT_EQ(allocations() != 0, rig::CountsAllocations());
    job.frameNumber = 4'000'000'000;
    job.exposureUs = 777;
    job.noise = 1;
    EXPECT_EQ(allocations(), 0U);
    job.reverseX = job.reverseY = true;
    EXPECT_EQ(allocations(), 0U);
}

} // namespace sim
