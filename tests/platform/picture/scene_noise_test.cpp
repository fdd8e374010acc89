/** Noise in the painted scene: how strong, where, and never the same twice. */
#include "sim/picture/scene.h"

#include "tests/support/alloc_count.h"

#include "tests/platform/picture/picture_of.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>

namespace sim
{

namespace
{

/** A flat grey region of 75 % light. */
PictureJob Flat(std::uint32_t format)
{
    PictureJob job = JobOf(format, 2048, 1024);
    job.offsetX = 8;
    job.offsetY = 72;
    job.width = 240;
    job.height = 140;
    job.noise = 1;
    job.noiseSeed = 42;
    return job;
}

/** Values of a picture in steps of 8 bits: one of each pixel, or every `stride`th byte. */
std::vector<double> Values(const PictureJob& job, std::size_t first = 0, std::size_t stride = 0)
{
    const Bytes image = PictureOf(job);
    std::vector<double> values;
    if (stride == 0) {
        for (const unsigned pixel : Pixels(image, job.pixelFormat)) {
            values.push_back(Is12Bit(job.pixelFormat) ? pixel / 16.0 : pixel);
        }
        return values;
    }
    for (std::size_t i = first; i < image.size(); i += stride) {
        values.push_back(image[i]);
    }
    return values;
}

struct Spread {
    double mean = 0;
    double deviation = 0;
};
Spread SpreadOf(const std::vector<double>& values)
{
    Spread spread;
    double squares = 0;
    for (const double value : values) {
        spread.mean += value;
        squares += value * value;
    }
    const auto count = static_cast<double>(values.size());
    spread.mean /= count;
    spread.deviation = std::sqrt(std::max(squares / count - spread.mean * spread.mean, 0.0));
    return spread;
}

/** Of two lists of values, -1 to 1. */
double Correlation(const std::vector<double>& a, const std::vector<double>& b)
{
    const Spread ofA = SpreadOf(a);
    const Spread ofB = SpreadOf(b);
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        sum += (a[i] - ofA.mean) * (b[i] - ofB.mean);
    }
    return sum / static_cast<double>(a.size()) / (ofA.deviation * ofB.deviation);
}

/** What the sensor's noise is made of, in steps of 8 bits: rounding included for bytes. */
double ExpectedDeviation(double sample, double gain, double noise, bool bytes)
{
    const double variance = noise * noise * (gain * gain * 2.5 * 2.5 + gain * 0.2 * sample) / 256;
    return std::sqrt(variance + (bytes ? 1.0 / 12 : 0));
}

} // namespace

class NoiseInFormat : public ::testing::TestWithParam<std::uint32_t>
{
};
INSTANTIATE_TEST_SUITE_P(Scene, NoiseInFormat, ::testing::ValuesIn(kFormats));

TEST_P(NoiseInFormat, KeepsTheMeanAndGrowsWithLightAndGainAtTheSameBrightness)
{
    const bool bytes = !Is12Bit(GetParam());
    // Luma is a weighted sum of independent channels.
    const double ofLuma =
        GetParam() == kYuv422Packed ? std::sqrt(77.0 * 77 + 150.0 * 150 + 29.0 * 29) / 256 : 1;
    for (const double brightness : {0.1, 0.5}) {
        for (const double gain : {1.0, 2.0, 4.0, 8.0}) {
            for (const double noise : {0.5, 1.0, 2.0}) {
                PictureJob job = Flat(GetParam());
                job.gain = gain;
                job.exposureUs *= brightness / 0.75 / gain;
                job.noise = noise;
                const Spread spread = SpreadOf(Values(job));
                const double sample = brightness * 4095;
                const double ofNoise = ofLuma * ExpectedDeviation(sample, gain, noise, false);
                if (bytes && ofNoise < 0.5) {
                    continue; // rounding has a say of its own
                }
                const double expected = std::hypot(ofNoise, bytes ? std::sqrt(1.0 / 12) : 0);
                EXPECT_NEAR(spread.deviation, expected, 0.03 * expected + 0.02)
                    << brightness << " gain " << gain << " noise " << noise;
                EXPECT_NEAR(spread.mean, sample / 16 - (bytes ? 0.5 : 0.03), 0.15)
                    << brightness << " gain " << gain << " noise " << noise;
            }
        }
    }
}

TEST_P(NoiseInFormat, ComesFromSeedFrameAndRowAlone)
{
    PictureJob job = Flat(GetParam());
    const auto first = Values(job);
    EXPECT_EQ(Values(job), first);
    PictureJob other = job;
    other.noiseSeed = 43;
    EXPECT_LT(std::abs(Correlation(Values(other), first)), 0.03);
    other = job;
    ++other.frameNumber;
    EXPECT_LT(std::abs(Correlation(Values(other), first)), 0.03);

    Scene scene; // what was painted before leaves nothing behind
    for (const std::uint32_t format : {kMono8, GetParam(), kBayerRg8, GetParam()}) {
        for (const double noise : {0.0, 3.0, 1.0}) {
            job.pixelFormat = format;
            job.noise = noise;
            Bytes image(PictureBytes(job.width, job.height, format));
            scene.Paint(job, image.data(), image.size());
            EXPECT_EQ(image, PictureOf(job)) << noise;
        }
    }
}

/** Lines that repeat each other, or grains that hang together, would show as stripes. */
TEST(Noise, NeighboursInAllDirectionsAreIndependent)
{
    PictureJob job = Flat(kMono12);
    job.sensorWidth = 16384;
    job.width = 1900;
    const auto picture = Values(job);
    const std::size_t width = job.width;
    for (std::size_t down = 0; down <= 3; ++down) {
        for (std::size_t right = down == 0 ? 1 : 0; right <= 8; ++right) {
            const auto shift = static_cast<std::ptrdiff_t>(down * width + right);
            EXPECT_LT(std::abs(Correlation({picture.begin() + shift, picture.end()},
                                           {picture.begin(), picture.end() - shift})),
                      0.02)
                << down << " down, " << right << " right";
        }
    }
}

TEST_P(NoiseInFormat, ClipsAtBlackAndWhiteAndVanishesFarBeyond)
{
    const double top = Is12Bit(GetParam()) ? 4095.0 / 16 : 255;
    PictureJob job = Flat(GetParam());
    job.noise = 8;
    job.gain = 2;
    job.exposureUs = 4 * kReferenceExposureUs; // six times white
    EXPECT_THAT(Values(job), ::testing::Each(top));
    job.exposureUs /= 6; // just white: nothing may wrap to black
    const auto white = Values(job);
    EXPECT_GT(*std::min_element(white.begin(), white.end()), 128);
    EXPECT_EQ(*std::max_element(white.begin(), white.end()), top);
    EXPECT_GT(SpreadOf(white).deviation, 3);
    job.exposureUs = 10;
    const auto black = Values(job);
    EXPECT_LT(*std::max_element(black.begin(), black.end()), 128);
    EXPECT_EQ(*std::min_element(black.begin(), black.end()), 0);
    for (const double gain : {HUGE_VAL, std::nan(""), -1.0}) { // and no crash
        job.gain = gain;
        job.noise = HUGE_VAL;
        EXPECT_EQ(Values(job).size(), std::size_t{job.width} * job.height);
    }
}

TEST(Noise, IsStretchedByToneAndByBalance)
{
    PictureJob job = Flat(kMono12);
    job.exposureUs /= 3; // 25 %
    const double plain = SpreadOf(Values(job)).deviation;
    auto steep = std::make_shared<ToneCurve>();
    for (unsigned i = 0; i < 4096; ++i) {
        steep->samples[kGreen][i] = static_cast<std::uint16_t>(std::min(3 * i, 4095U));
    }
    job.tone = steep;
    EXPECT_NEAR(SpreadOf(Values(job)).deviation, 3 * plain, 0.1 * plain);

    job = Flat(kBayerRg8);
    job.exposureUs /= 10;
    job.balance = {4, 1, 1};
    job.height = 1; // red, green, red
    double ofRed = 0;
    double ofGreen = 0;
    for (job.frameNumber = 1; job.frameNumber <= 50; ++job.frameNumber) {
        ofRed += SpreadOf(Values(job, 0, 2)).deviation / 50;
        ofGreen += SpreadOf(Values(job, 1, 2)).deviation / 50;
    }
    const double sample = 0.075 * 4095;
    EXPECT_NEAR(ofRed, ExpectedDeviation(4 * sample, 4, 1, true), 0.05);
    EXPECT_NEAR(ofGreen, ExpectedDeviation(sample, 1, 1, true), 0.05);
}

TEST(Noise, OfChromaIsAroundGreyAndThatOfAMeanOfTwo)
{
    PictureJob job = Flat(kYuv422Packed);
    job.exposureUs *= 0.5 / 0.75;
    job.noise = 3;
    const double sample = 0.5 * 4095;
    const double channel = ExpectedDeviation(sample, 1, 3, false) / std::sqrt(2.0);
    const Spread u = SpreadOf(Values(job, 0, 4));
    const Spread v = SpreadOf(Values(job, 2, 4));
    const double ofU = std::sqrt(43.0 * 43 + 84.0 * 84 + 127.0 * 127) / 256;
    const double ofV = std::sqrt(127.0 * 127 + 106.0 * 106 + 21.0 * 21) / 256;
    EXPECT_NEAR(u.mean, 128, 0.15);
    EXPECT_NEAR(v.mean, 128, 0.15);
    EXPECT_NEAR(u.deviation, std::hypot(ofU * channel, std::sqrt(1.0 / 12)), 0.05);
    EXPECT_NEAR(v.deviation, std::hypot(ofV * channel, std::sqrt(1.0 / 12)), 0.05);
}

TEST_P(NoiseInFormat, PicturesOfOddSizesStayWithinTheirBytes)
{
    Scene scene;
    for (const std::uint32_t width : {1U, 3U, 17U, 513U}) {
        PictureJob job = JobOf(GetParam(), width, 5);
        job.reverseX = job.reverseY = true;
        job.noise = 1;
        const Bytes whole = PictureOf(job);
        for (const std::size_t size : {whole.size(), whole.size() - 1, whole.size() / 2}) {
            Bytes image(whole.size() + 8, 0xA5);
            scene.Paint(job, image.data(), size);
            const auto end = image.begin() + static_cast<std::ptrdiff_t>(size);
            EXPECT_TRUE(std::equal(image.begin(), end, whole.begin())) << width << ' ' << size;
            EXPECT_TRUE(std::all_of(end, image.end(), [](auto byte) { return byte == 0xA5; }))
                << width << ' ' << size;
        }
    }
}

TEST_P(NoiseInFormat, AllocatesNothingOnceWarm)
{
    if (!rig::CountsAllocations()) {
        GTEST_SKIP() << "sanitizers keep the allocator to themselves";
    }
    Scene scene;
    PictureJob job = Flat(GetParam());
    Bytes image(PictureBytes(job.width, job.height, job.pixelFormat));
    scene.Paint(job, image.data(), image.size());
    const std::uint64_t warm = rig::Allocations();
    ++job.frameNumber;
    ++job.noiseSeed;
    job.exposureUs = 7000;
    job.gain = 2;
    scene.Paint(job, image.data(), image.size());
    EXPECT_EQ(rig::Allocations(), warm);
}

} // namespace sim
