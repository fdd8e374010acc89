/** White balance, tone and metering of the painted scene. */
#include "sim/picture/scene.h"

#include "tests/support/alloc_count.h"

#include "tests/platform/picture/picture_of.h"

#include <gmock/gmock.h>

#include <numeric>

namespace sim
{

namespace
{

/** A curve of its own for each channel, all of them far from the straight line. */
std::shared_ptr<const ToneCurve> Curves()
{
    auto tone = std::make_shared<ToneCurve>();
    for (unsigned i = 0; i < 4096; ++i) {
        tone->samples[kRed][i] = static_cast<std::uint16_t>(4095 - i);
        tone->samples[kGreen][i] = static_cast<std::uint16_t>(i / 2);
        tone->samples[kBlue][i] = static_cast<std::uint16_t>(i < 100 ? 800 : 60000); // too much
    }
    return tone;
}

/** A small region of one of the colour bars. */
PictureJob Bar(std::uint32_t format, std::uint32_t bar)
{
    PictureJob job = JobOf(format);
    job.offsetX = bar * 80 + 20;
    job.offsetY = 60;
    job.width = 4;
    job.height = 2;
    return job;
}

double MeanOf(const PictureJob& job)
{
    const auto pixels = Pixels(PictureOf(job), job.pixelFormat);
    const double sum = std::accumulate(pixels.begin(), pixels.end(), 0.0);
    return sum / static_cast<double>(pixels.size()) / (Is12Bit(job.pixelFormat) ? 16 : 1);
}

} // namespace

using ::testing::Each;
using ::testing::ElementsAre;

TEST(Balance, ActsOnItsChannelAheadOfTheClipAndNotOnMono)
{
    PictureJob white = Bar(kBayerRg8, 0); // 75 % everywhere
    white.balance = {0.5, 1, 2};
    EXPECT_THAT(PictureOf(white), ElementsAre(96, 191, 96, 191, 191, 255, 191, 255));
    white.balance = {1, 0.5, -1};
    EXPECT_THAT(PictureOf(white), ElementsAre(191, 96, 191, 96, 96, 0, 96, 0));

    PictureJob red = Bar(kYuv422Packed, 5);
    red.balance = {0.5, 4, 4}; // no green, no blue: nothing to amplify
    EXPECT_THAT(Pixels(PictureOf(red), kYuv422Packed), Each((77 * 96 + 128) >> 8));

    PictureJob mono = Bar(kMono8, 0);
    const Bytes plain = PictureOf(mono);
    mono.balance = {4, 0.25, 4};
    EXPECT_EQ(PictureOf(mono), plain);
}

TEST(Tone, ActsOnItsChannelBehindTheClip)
{
    PictureJob white = Bar(kBayerRg8, 0);
    white.tone = Curves();
    white.exposureUs *= 3; // 2.25 times white
    EXPECT_THAT(PictureOf(white), ElementsAre(0, 127, 0, 127, 127, 255, 127, 255));

    PictureJob black = white;
    black.offsetX = 7 * 80 + 20;
    EXPECT_THAT(PictureOf(black), ElementsAre(255, 0, 255, 0, 0, 50, 0, 50));
    black.pixelFormat = kYuv422Packed;
    EXPECT_THAT(Pixels(PictureOf(black), kYuv422Packed), Each((77 * 255 + 29 * 50 + 128) >> 8));

    for (const std::uint32_t format : {kMono8, kMono12, kMono12Packed}) {
        white.pixelFormat = format;
        EXPECT_THAT(Pixels(PictureOf(white), format), Each(Is12Bit(format) ? 2047U : 127U));
    }
}

TEST(Tone, OfTheNextPictureReplacesTheOneBefore)
{
    Scene scene;
    PictureJob job = Bar(kMono8, 0);
    Bytes image(8);
    const auto pixel = [&](std::uint32_t format, std::shared_ptr<const ToneCurve> tone) {
        job.pixelFormat = format;
        job.tone = std::move(tone);
        scene.Paint(job, image.data(), image.size());
        return int{image[1]}; // green of the mosaic
    };
    auto dark = std::make_shared<ToneCurve>();
    EXPECT_EQ(pixel(kMono8, Curves()), 95);
    EXPECT_EQ(pixel(kMono8, dark), 0);
    EXPECT_EQ(pixel(kBayerRg8, dark), 0);
    EXPECT_EQ(pixel(kMono8, nullptr), 191);
    EXPECT_EQ(pixel(kBayerRg8, nullptr), 191);
    EXPECT_EQ(image[0], 191); // red was left out while the pictures were mono
}

struct MeterCase {
    const char* name;
    std::uint32_t offsetX;
    std::uint32_t offsetY;
    std::uint32_t width;
    std::uint32_t height;
    double exposureUs;
    bool curved;
    bool turned;
};

class Metering : public ::testing::TestWithParam<MeterCase>
{
};
INSTANTIATE_TEST_SUITE_P(
    Scene, Metering,
    ::testing::Values(MeterCase{"whole", 0, 0, 1280, 960, 10000, false, false},
                      MeterCase{"dark", 0, 0, 1280, 960, 600, false, false},
                      MeterCase{"clipped", 0, 0, 1280, 960, 40000, false, false},
                      MeterCase{"curved", 0, 0, 1280, 960, 5000, true, false},
                      MeterCase{"bars", 160, 100, 480, 100, 10000, false, false},
                      MeterCase{"turned", 160, 100, 480, 300, 10000, false, true},
                      MeterCase{"chequer", 200, 700, 120, 100, 10000, false, false},
                      MeterCase{"overEdge", 1000, 800, 900, 400, 10000, false, false}),
    [](const auto& tested) { return tested.param.name; });

TEST_P(Metering, IsTheMeanOfThePaintedPicture)
{
    Scene scene;
    for (const std::uint32_t frame : {3U, 907'351U}) {
        for (const std::uint32_t format : kFormats) {
            PictureJob job = JobOf(format, 1280, 960);
            job.frameNumber = frame;
            job.offsetX = GetParam().offsetX;
            job.offsetY = GetParam().offsetY;
            job.width = GetParam().width;
            job.height = GetParam().height;
            job.exposureUs = GetParam().exposureUs;
            job.balance = {1.5, 1, 0.7};
            job.tone = GetParam().curved ? Curves() : nullptr;
            job.reverseX = job.reverseY = GetParam().turned;
            EXPECT_NEAR(scene.Measure(job).mean, MeanOf(job), 0.01 * 255)
                << std::hex << format << std::dec << " frame " << frame;
        }
    }
}

TEST(Metering, LightIsThatAheadOfExposureGainBalanceAndTone)
{
    Scene scene;
    PictureJob job = Bar(kYuv422Packed, 5); // red
    job.exposureUs = 123;
    job.gain = 3;
    job.balance = {2, 3, 4};
    job.tone = Curves();
    for (const std::uint32_t format : {kYuv422Packed, kMono8}) {
        job.pixelFormat = format;
        const PictureLevels levels = scene.Measure(job);
        EXPECT_NEAR(levels.light[kRed], 0.75, 0.001);
        EXPECT_EQ(levels.light[kGreen], 0);
        EXPECT_EQ(levels.light[kBlue], 0);
    }
    job.width = job.height = 0;
    EXPECT_EQ(scene.Measure(job).mean, 0);
    EXPECT_EQ(scene.Measure(job).light[kRed], 0);
}

TEST(Metering, AllocatesNothingOnceWarm)
{
    if (!rig::CountsAllocations()) {
        GTEST_SKIP() << "sanitizers keep the allocator to themselves";
    }
    Scene scene;
    PictureJob job = JobOf(kYuv422Packed);
    const auto tone = Curves();
    scene.Measure(job);
    const std::uint64_t warm = rig::Allocations();
    job.tone = tone;
    job.frameNumber = 77;
    job.offsetX = 300;
    job.width = job.height = 200;
    scene.Measure(job);
    EXPECT_EQ(rig::Allocations(), warm);
}

} // namespace sim
