/** Jobs for the painter and what becomes of them, for its tests. */
#pragma once

#include "sim/picture/pixel_packing.h"
#include "sim/picture/scene.h"

#include <cstdint>
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

inline Bytes PictureOf(const PictureJob& job)
{
    Scene scene;
    Bytes image(PictureBytes(job.width, job.height, job.pixelFormat));
    scene.Paint(job, image.data(), image.size());
    return image;
}

inline bool Is12Bit(std::uint32_t format)
{
    return format == kMono12 || format == kMono12Packed;
}

/** One value per pixel that stands for all of it, whatever the packing. */
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

} // namespace sim
