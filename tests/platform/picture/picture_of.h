/** Paints pictures for the tests of the scene. */
#pragma once

#include "sim/picture/pixel_packing.h"
#include "sim/picture/scene.h"

#include <array>
#include <cstdint>
#include <numeric>
#include <utility>
#include <vector>

namespace sim
{

using Bytes = std::vector<std::uint8_t>;

inline constexpr std::uint32_t kFormats[] = {kMono8, kMono12Packed, kMono12, kYuv422Packed,
                                             kBayerRg8};

inline PictureJob JobOf(std::uint32_t format, std::uint32_t width = 640, std::uint32_t height = 480)
{
    PictureJob job;
    job.sensorWidth = job.width = width;
    job.sensorHeight = job.height = height;
    job.pixelFormat = format;
    job.frameNumber = 1234;
    return job;
}

inline PictureJob Region(PictureJob job, std::array<std::uint32_t, 4> leftTopWidthHeight)
{
    job.offsetX = leftTopWidthHeight[0];
    job.offsetY = leftTopWidthHeight[1];
    job.width = leftTopWidthHeight[2];
    job.height = leftTopWidthHeight[3];
    return job;
}

inline Bytes PictureOf(const PictureJob& job, Scene&& scene = Scene())
{
    Bytes image(PictureBytes(job.width, job.height, job.pixelFormat));
    scene.Paint(job, image.data(), image.size());
    return image;
}

inline bool Is12Bit(std::uint32_t format)
{
    return format == kMono12 || format == kMono12Packed;
}

/** One value per pixel that represents all of it, whatever the packing. */
inline std::vector<unsigned> Pixels(const Bytes& image, std::uint32_t format)
{
    std::vector<unsigned> pixels;
    const auto byte = [&](std::size_t at) { return unsigned{image[at]}; };
    for (std::size_t i = 0; i < image.size();) {
        switch (format) {
        case kMono12Packed:
            pixels.push_back(byte(i) << 4 | (byte(i + 1) & 0xF));
            if (i + 2 < image.size()) {
                pixels.push_back(byte(i + 2) << 4 | byte(i + 1) >> 4);
            }
            i += 3;
            break;
        case kMono12:
            pixels.push_back(byte(i) | byte(i + 1) << 8);
            i += 2;
            break;
        case kYuv422Packed:
            pixels.push_back(byte(i + 1)); // Y; chroma belongs to pairs
            i += 2;
            break;
        default:
            pixels.push_back(byte(i++));
        }
    }
    return pixels;
}
inline std::vector<unsigned> PixelsOf(const PictureJob& job)
{
    return Pixels(PictureOf(job), job.pixelFormat);
}

/** Of the pixels, in steps of 8 bits. */
inline double MeanOf(const Bytes& image, std::uint32_t format)
{
    const auto pixels = Pixels(image, format);
    const double sum = std::accumulate(pixels.begin(), pixels.end(), 0.0);
    return sum / static_cast<double>(pixels.size()) / (Is12Bit(format) ? 16 : 1);
}

/** A curve of its own for each channel, all of them far from the straight line. */
inline std::shared_ptr<const ToneCurve> Curves()
{
    auto tone = std::make_shared<ToneCurve>();
    for (unsigned i = 0; i < 4096; ++i) {
        tone->samples[kRed][i] = static_cast<std::uint16_t>(4095 - i);
        tone->samples[kGreen][i] = static_cast<std::uint16_t>(i / 2);
        tone->samples[kBlue][i] = static_cast<std::uint16_t>(i < 100 ? 800 : 4095);
    }
    return tone;
}

/** Has a scene paint one job after the other, each of them another picture, and compares it with
 *  one that has never painted before. `make` gives a new scene. */
template <typename Make> void ExpectNothingLeftBehind(std::uint32_t format, Make make)
{
    using Change = void (*)(PictureJob&);
    const std::pair<const char*, Change> changes[] = {
        {"first", [](PictureJob&) {}},
        {"exposure", [](PictureJob& job) { job.exposureUs /= 2; }},
        {"tone", [](PictureJob& job) { job.tone = Curves(); }},
        {"region",
         [](PictureJob& job) {
             job = Region(job, {42, 31, 200, 100});
         }},
        {"mirrored", [](PictureJob& job) { job.reverseX = true; }},
        {"upside down", [](PictureJob& job) { job.reverseY = true; }},
        {"noise", [](PictureJob& job) { job.noise = 1; }},
        {"another frame's noise", [](PictureJob& job) { ++job.frameNumber; }},
        {"another seed's noise", [](PictureJob& job) { ++job.noiseSeed; }},
        {"gain", [](PictureJob& job) { job.gain = 2; }},
        {"no noise", [](PictureJob& job) { job.noise = 0; }},
        {"another sensor", [](PictureJob& job) { job.sensorWidth = 640; }},
        {"mosaic",
         [](PictureJob& job) {
             job.pixelFormat = kBayerRg8;
             job.exposureUs *= 3;
         }},
        {"no tone", [](PictureJob& job) { job.tone = nullptr; }},
        {"mono", [](PictureJob& job) {
             job.pixelFormat = kMono8;
             job.exposureUs *= 3;
         }}};
    Scene scene = make();
    PictureJob job = JobOf(format, 320, 240);
    Bytes before;
    for (const auto& [name, change] : changes) {
        change(job);
        Bytes now(PictureBytes(job.width, job.height, job.pixelFormat));
        scene.Paint(job, now.data(), now.size());
        EXPECT_EQ(now, PictureOf(job, make())) << name;
        EXPECT_NE(now, before) << name;
        before = std::move(now);
    }
}

} // namespace sim
