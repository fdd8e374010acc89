/** Pixel formats by their PFNC codes, and the sizes of pictures. */
#pragma once

#include <cstddef>
#include <cstdint>

namespace base
{

inline constexpr std::uint32_t kMono8 = 0x01080001;
inline constexpr std::uint32_t kMono12Packed = 0x010C0006;
inline constexpr std::uint32_t kMono12 = 0x01100005;
inline constexpr std::uint32_t kBayerRg8 = 0x01080009;
inline constexpr std::uint32_t kYuv422Packed = 0x0210001F;

/** Every code says in its bits 16 to 23 how many bits one pixel takes. */
constexpr unsigned BitsPerPixel(std::uint32_t pixelFormat)
{
    return pixelFormat >> 16 & 0xFF;
}

/** Bytes of a picture whose lines follow each other without padding; the last byte may be used in
 *  part. */
constexpr std::size_t PictureBytes(std::uint32_t width, std::uint32_t height,
                                   std::uint32_t pixelFormat)
{
    return (std::size_t{width} * height * BitsPerPixel(pixelFormat) + 7) / 8;
}

} // namespace base
