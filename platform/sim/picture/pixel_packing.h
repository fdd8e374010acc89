/** The pixel formats of the simulated camera: their sizes, and how a line of sensor samples is laid
 *  out in each of them. Pure; no state. */
#pragma once

#include "base/pixel_format.h"

#include <cstddef>
#include <cstdint>

namespace sim
{

using base::kBayerRg8;
using base::kMono12;
using base::kMono12Packed;
using base::kMono8;
using base::kYuv422Packed;

/** Whether a picture in this format is taken through colour filters. */
constexpr bool IsColor(std::uint32_t pixelFormat)
{
    return pixelFormat == kBayerRg8 || pixelFormat == kYuv422Packed;
}

/** Samples are 12-bit digital numbers whatever the format; formats of 8 bits take the high ones. */
constexpr unsigned kSampleBits = 12;
constexpr std::uint16_t kSampleMax = (1U << kSampleBits) - 1;

/** Writes the high 8 bits of each of `count` samples into `count` bytes. */
void PackHigh8(const std::uint16_t* samples, std::size_t count, std::uint8_t* line);

/** The same for a line of a mosaic, whose even and odd pixels are in separate arrays. */
void PackMosaic(const std::uint16_t* even, const std::uint16_t* odd, std::size_t count,
                std::uint8_t* line);

/** 16 bits little endian per sample, the value in the low 12 bits: 2 * `count` bytes. */
void Pack16(const std::uint16_t* samples, std::size_t count, std::uint8_t* line);

/** GigE Vision packed: two samples in three bytes (high 8 bits of the first; low nibbles, the
 *  first's in bits 0 to 3; high 8 bits of the second). A last single sample takes two bytes. */
void Pack12(const std::uint16_t* samples, std::size_t count, std::uint8_t* line);

/** UYVY, ITU-R BT.601 with the full range of 8 bits (grey: U = V = 128). Both pixels of a pair
 *  share the chroma of their mean; a last single pixel gives U and Y only. 2 * `count` bytes. */
void PackUyvy(const std::uint16_t* red, const std::uint16_t* green, const std::uint16_t* blue,
              std::size_t count, std::uint8_t* line);

} // namespace sim
