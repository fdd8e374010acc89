#include "export/pixels.h"

#include "base/names.h"

#include <algorithm>

namespace kvgrab
{
namespace
{

std::uint8_t ToByte(int value)
{
    return static_cast<std::uint8_t>(std::clamp(value, 0, 255));
}

/** The line or column before the first and after the last, mirrored at the border. */
std::uint32_t Before(std::uint32_t index)
{
    return index == 0 ? 1 : index - 1;
}
std::uint32_t After(std::uint32_t index, std::uint32_t count)
{
    return index + 1 == count ? count - 2 : index + 1;
}

} // namespace

PixelLayout LayoutOfCodec(std::string_view codec)
{
    constexpr base::Named<PixelLayout> kCodecs[] = {{"MONO8T", PixelLayout::kGrey8},
                                                    {"MONO12PT", PixelLayout::kGrey12Packed},
                                                    {"MONO12T", PixelLayout::kGrey12},
                                                    {"UYVY", PixelLayout::kUyvy},
                                                    {"BayerRG8T", PixelLayout::kBayerRg8}};
    return base::ValueIn<PixelLayout>(kCodecs, codec).value_or(PixelLayout::kUnknown);
}

void UnpackMono12Packed(std::span<const std::uint8_t> packed, std::span<std::uint16_t> pixels)
{
    const std::uint8_t* in = packed.data();
    std::size_t i = 0;
    for (; i + 1 < pixels.size(); i += 2, in += 3) {
        pixels[i] = Scale12To16(static_cast<std::uint32_t>(in[0] << 4 | (in[1] & 15)));
        pixels[i + 1] = Scale12To16(static_cast<std::uint32_t>(in[2] << 4 | in[1] >> 4));
    }
    if (i < pixels.size()) {
        pixels[i] = Scale12To16(static_cast<std::uint32_t>(in[0] << 4 | (in[1] & 15)));
    }
}

void UnpackMono12(std::span<const std::uint8_t> bytes, std::span<std::uint16_t> pixels)
{
    const std::uint8_t* in = bytes.data();
    for (std::uint16_t& pixel : pixels) {
        pixel = Scale12To16(static_cast<std::uint32_t>(in[0] | (in[1] & 15) << 8));
        in += 2;
    }
}

void UyvyToRgb(std::span<const std::uint8_t> uyvy, std::span<std::uint8_t> rgb)
{
    // 1.402, 0.344136, 0.714136 and 1.772 as multiples of 1/65536, rounded by the added half.
    constexpr int kHalf = 32768;
    const std::uint8_t* in = uyvy.data();
    std::uint8_t* out = rgb.data();
    const std::size_t pixels = rgb.size() / 3;
    for (std::size_t pair = 0; pair < pixels / 2; ++pair, in += 4) {
        const int u = in[0] - 128;
        const int v = in[2] - 128;
        const int red = (91881 * v + kHalf) >> 16;
        const int green = (-22553 * u - 46802 * v + kHalf) >> 16;
        const int blue = (116130 * u + kHalf) >> 16;
        for (const int luma : {in[1], in[3]}) {
            *out++ = ToByte(luma + red);
            *out++ = ToByte(luma + green);
            *out++ = ToByte(luma + blue);
        }
    }
    if (pixels % 2 != 0) {
        std::fill_n(out, 3, in[1]);
    }
}

void BayerRgToRgb(std::span<const std::uint8_t> bayer, std::uint32_t width, std::uint32_t height,
                  std::span<std::uint8_t> rgb)
{
    std::uint8_t* out = rgb.data();
    if (width < 2 || height < 2) {
        for (std::size_t i = 0; i < std::size_t{width} * height; ++i, out += 3) {
            std::fill_n(out, 3, bayer[i]);
        }
        return;
    }
    for (std::uint32_t y = 0; y < height; ++y) {
        const std::uint8_t* above = bayer.data() + std::size_t{Before(y)} * width;
        const std::uint8_t* line = bayer.data() + std::size_t{y} * width;
        const std::uint8_t* below = bayer.data() + std::size_t{After(y, height)} * width;
        const bool redLine = y % 2 == 0;
        for (std::uint32_t x = 0; x < width; ++x, out += 3) {
            const std::uint32_t left = Before(x);
            const std::uint32_t right = After(x, width);
            const auto leftRight = static_cast<std::uint8_t>((line[left] + line[right] + 1) / 2);
            const auto upDown = static_cast<std::uint8_t>((above[x] + below[x] + 1) / 2);
            if ((x % 2 == 0) != redLine) { // a green pixel
                out[0] = redLine ? leftRight : upDown;
                out[1] = line[x];
                out[2] = redLine ? upDown : leftRight;
                continue;
            }
            const auto cross =
                static_cast<std::uint8_t>((line[left] + line[right] + above[x] + below[x] + 2) / 4);
            const auto corners = static_cast<std::uint8_t>(
                (above[left] + above[right] + below[left] + below[right] + 2) / 4);
            out[0] = redLine ? line[x] : corners;
            out[1] = cross;
            out[2] = redLine ? corners : line[x];
        }
    }
}

} // namespace kvgrab
