/** Pixel conversions of the export, from a camera's formats to those of PNG files. Pure functions;
 *  a picture's lines follow each other without padding. */
#pragma once

#include "base/pixel_format.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace kvgrab
{

/** How the pixels of a codec lie in memory. */
enum class PixelLayout : std::uint32_t {
    kUnknown = 0,
    kGrey8 = base::kMono8,
    kGrey12Packed = base::kMono12Packed,
    kGrey12 = base::kMono12,
    kUyvy = base::kYuv422Packed,
    kBayerRg8 = base::kBayerRg8,
};

/** By the codec's name: "MONO8T", "MONO12PT", "MONO12T", "UYVY", "BayerRG8T". */
PixelLayout LayoutOfCodec(std::string_view codec);
/** Bytes of a picture; 0 for kUnknown. */
constexpr std::size_t PictureBytes(PixelLayout layout, std::uint32_t width, std::uint32_t height)
{
    return base::PictureBytes(width, height, static_cast<std::uint32_t>(layout));
}

/** Scales 12 bits to 16, so that 0 stays 0 and 4095 becomes 65535. */
constexpr std::uint16_t Scale12To16(std::uint32_t value)
{
    return static_cast<std::uint16_t>(value << 4 | value >> 8);
}

/** Two pixels in three bytes: the high eight bits of the first, the low four of the first (bits
 *  0-3) and of the second (bits 4-7), the high eight of the second. An odd last pixel takes two
 *  bytes. Writes `pixels.size()` pixels scaled to 16 bits; `packed` holds at least 3/2 bytes for
 *  each. */
void UnpackMono12Packed(std::span<const std::uint8_t> packed, std::span<std::uint16_t> pixels);

/** Two bytes a pixel, low byte first, 12 bits used; bits above are ignored. Scales to 16 bits. */
void UnpackMono12(std::span<const std::uint8_t> bytes, std::span<std::uint16_t> pixels);

/** U Y V Y: two pixels in four bytes that share their colour, converted with the factors of ITU-R
 *  BT.601 in full range (luma 0 to 255, chroma around 128). `rgb` takes three bytes a pixel; an odd
 *  last pixel has two bytes and is grey. */
void UyvyToRgb(std::span<const std::uint8_t> uyvy, std::span<std::uint8_t> rgb);

/** Bilinear: red at even columns of even lines, blue at odd columns of odd lines, green elsewhere.
 *  A missing colour is the rounded mean of its nearest neighbours; at a border the picture goes on
 *  mirrored, which keeps the colours' places. `rgb` takes three bytes a pixel. A picture of one
 *  line or one column comes out grey. */
void BayerRgToRgb(std::span<const std::uint8_t> bayer, std::uint32_t width, std::uint32_t height,
                  std::span<std::uint8_t> rgb);

} // namespace kvgrab
