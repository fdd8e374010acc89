#include "pictures.h"

#include <algorithm>

namespace kvpython
{

namespace
{

using Byte = std::uint8_t;

Byte Clamped(int value)
{
    return static_cast<Byte>(std::clamp(value, 0, 255));
}

void UyvyToRgb(const Byte* in, std::size_t pixels, Byte* out)
{
    // 1.402, 0.344136, 0.714136 and 1.772 as multiples of 1/65536, rounded by the added half.
    constexpr int kHalf = 32768;
    for (std::size_t pair = 0; pair < pixels / 2; ++pair, in += 4) {
        const int u = in[0] - 128;
        const int v = in[2] - 128;
        const int red = (91881 * v + kHalf) >> 16;
        const int green = (-22553 * u - 46802 * v + kHalf) >> 16;
        const int blue = (116130 * u + kHalf) >> 16;
        for (const int luma : {in[1], in[3]}) {
            *out++ = Clamped(luma + red);
            *out++ = Clamped(luma + green);
            *out++ = Clamped(luma + blue);
        }
    }
    if (pixels % 2 != 0) {
        std::fill_n(out, 3, in[1]);
    }
}

/** A pixel of a Bayer picture with its neighbours: columns to both sides, lines above and below. */
struct Neighbours {
    const Byte* above;
    const Byte* line;
    const Byte* below;
    std::size_t left;
    std::size_t right;

    Byte LeftRight() const { return static_cast<Byte>((line[left] + line[right] + 1) / 2); }
    Byte UpDown(std::size_t x) const { return static_cast<Byte>((above[x] + below[x] + 1) / 2); }
    Byte Cross(std::size_t x) const
    {
        return static_cast<Byte>((line[left] + line[right] + above[x] + below[x] + 2) / 4);
    }
    Byte Corners() const
    {
        return static_cast<Byte>((above[left] + above[right] + below[left] + below[right] + 2) / 4);
    }
};

void BayerRgToRgb(const Byte* in, std::size_t width, std::size_t height, Byte* out)
{
    // A neighbour beyond the border is the one on the other side.
    const auto before = [](std::size_t i) { return i == 0 ? 1 : i - 1; };
    const auto after = [](std::size_t i, std::size_t count) {
        return i + 1 == count ? count - 2 : i + 1;
    };
    for (std::size_t y = 0; y < height; ++y) {
        Neighbours near = {in + before(y) * width, in + y * width, in + after(y, height) * width, 0,
                           0};
        const bool redLine = y % 2 == 0;
        for (std::size_t x = 0; x < width; ++x, out += 3) {
            near.left = before(x);
            near.right = after(x, width);
            if ((x % 2 == 0) != redLine) { // a green pixel
                out[redLine ? 0 : 2] = near.LeftRight();
                out[1] = near.line[x];
                out[redLine ? 2 : 0] = near.UpDown(x);
                continue;
            }
            out[redLine ? 0 : 2] = near.line[x];
            out[1] = near.Cross(x);
            out[redLine ? 2 : 0] = near.Corners();
        }
    }
}

/** The same value for red, green and blue. */
template <typename Value> void GreyToRgb(std::size_t pixels, Byte* out, Value value)
{
    for (std::size_t i = 0; i < pixels; ++i, out += 3) {
        std::fill_n(out, 3, value(i));
    }
}

} // namespace

std::size_t PictureBytes(kvf_format format, std::uint32_t width, std::uint32_t height)
{
    const std::size_t pixels = std::size_t{width} * height;
    switch (format) {
    case KVF_MONO8:
    case KVF_BAYER_RG8:
        return pixels;
    case KVF_MONO12_PACKED:
        return (pixels * 3 + 1) / 2;
    case KVF_MONO12:
    case KVF_UYVY:
        return pixels * 2;
    case KVF_UNKNOWN:
        break;
    }
    return 0;
}

void UnpackMono12(const Byte* packed, std::size_t pixels, std::uint16_t* values)
{
    std::size_t i = 0;
    for (; i + 1 < pixels; i += 2, packed += 3) {
        const unsigned both = packed[1];
        values[i] = static_cast<std::uint16_t>(unsigned{packed[0]} << 4 | (both & 15U));
        values[i + 1] = static_cast<std::uint16_t>(unsigned{packed[2]} << 4 | both >> 4);
    }
    if (i < pixels) {
        values[i] = static_cast<std::uint16_t>(unsigned{packed[0]} << 4 | (packed[1] & 15U));
    }
}

void ToRgb(const kvf_frame& frame, Byte* rgb)
{
    const auto* in = static_cast<const Byte*>(frame.pixels);
    const std::size_t pixels = std::size_t{frame.width} * frame.height;
    switch (frame.format) {
    case KVF_BAYER_RG8:
        if (frame.width >= 2 && frame.height >= 2) {
            return BayerRgToRgb(in, frame.width, frame.height, rgb);
        }
        return GreyToRgb(pixels, rgb, [in](std::size_t i) { return in[i]; });
    case KVF_MONO8:
        return GreyToRgb(pixels, rgb, [in](std::size_t i) { return in[i]; });
    case KVF_MONO12_PACKED: // the upper 8 bits have bytes of their own: 0, 2, 3, 5, 6, ...
        return GreyToRgb(pixels, rgb, [in](std::size_t i) { return in[i / 2 * 3 + i % 2 * 2]; });
    case KVF_MONO12:
        return GreyToRgb(pixels, rgb, [in](std::size_t i) {
            return static_cast<Byte>((in[2 * i + 1] & 15) << 4 | in[2 * i] >> 4);
        });
    case KVF_UYVY:
        return UyvyToRgb(in, pixels, rgb);
    case KVF_UNKNOWN:
        break;
    }
}

} // namespace kvpython
