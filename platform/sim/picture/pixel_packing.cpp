#include "sim/picture/pixel_packing.h"

#include "sim/picture/scene.h"

#include <array>
#include <bit>
#include <cstring>

namespace sim
{

namespace
{

/** Full-range BT.601 in 1/256; sums of three 8-bit values never leave 8 bits. */
struct Yuv {
    static std::uint8_t Y(int r, int g, int b)
    {
        return static_cast<std::uint8_t>((77 * r + 150 * g + 29 * b + 128) >> 8);
    }
    static std::uint8_t U(int r, int g, int b)
    {
        return static_cast<std::uint8_t>(((-43 * r - 84 * g + 127 * b + 128) >> 8) + 128);
    }
    static std::uint8_t V(int r, int g, int b)
    {
        return static_cast<std::uint8_t>(((127 * r - 106 * g - 21 * b + 128) >> 8) + 128);
    }
};

constexpr unsigned kLowBits = kSampleBits - 8;

} // namespace

std::size_t PictureBytes(std::uint32_t width, std::uint32_t height, std::uint32_t pixelFormat)
{
    switch (pixelFormat) {
    case kMono8:
    case kBayerRg8:
    case kMono12Packed:
    case kMono12:
    case kYuv422Packed:
        return base::PictureBytes(width, height, pixelFormat);
    default:
        return 0;
    }
}

void PackHigh8(const std::uint16_t* samples, std::size_t count, std::uint8_t* line)
{
    for (std::size_t i = 0; i < count; ++i) {
        line[i] = static_cast<std::uint8_t>(samples[i] >> kLowBits);
    }
}

void Pack16(const std::uint16_t* samples, std::size_t count, std::uint8_t* line)
{
    for (std::size_t i = 0; i < count; ++i) {
        line[2 * i] = static_cast<std::uint8_t>(samples[i] & 0xFF);
        line[2 * i + 1] = static_cast<std::uint8_t>(samples[i] >> 8);
    }
}

void Pack12(const std::uint16_t* samples, std::size_t count, std::uint8_t* line)
{
    std::size_t i = 0;
    if constexpr (std::endian::native == std::endian::little) {
        // Four samples at a time; the two bytes written beyond theirs are overwritten by the next.
        for (; i + 8 <= count; i += 4, line += 6) {
            std::uint64_t four = 0;
            std::memcpy(&four, samples + i, sizeof(four));
            const std::uint64_t pairs =
                (four >> 4 & 0x00FFF0FF'00FFF0FF) | (four << 8 & 0x00000F00'00000F00);
            const std::uint64_t bytes = (pairs & 0xFFFFFF) | (pairs >> 8 & 0xFFFFFF'000000);
            std::memcpy(line, &bytes, sizeof(bytes));
        }
    }
    for (; i + 1 < count; i += 2, line += 3) {
        const unsigned first = samples[i];
        const unsigned second = samples[i + 1];
        line[0] = static_cast<std::uint8_t>(first >> 4);
        line[1] = static_cast<std::uint8_t>((first & 0xF) | (second & 0xF) << 4);
        line[2] = static_cast<std::uint8_t>(second >> 4);
    }
    if (count % 2 != 0) {
        line[0] = static_cast<std::uint8_t>(samples[count - 1] >> 4);
        line[1] = static_cast<std::uint8_t>(samples[count - 1] & 0xF);
    }
}

namespace
{

constexpr std::size_t kPart = 64; ///< pixels at a time, in loops that become vector code

/** Whole parts of a line; `kPart` pixels each. */
void PackUyvyPart(const std::uint16_t* __restrict red, const std::uint16_t* __restrict green,
                  const std::uint16_t* __restrict blue, std::uint8_t* __restrict line)
{
    std::array<std::int16_t, kPart> r;
    std::array<std::int16_t, kPart> g;
    std::array<std::int16_t, kPart> b;
    std::array<std::uint8_t, kPart> y;
    for (std::size_t i = 0; i < kPart; ++i) {
        r[i] = static_cast<std::int16_t>(red[i] >> kLowBits);
        g[i] = static_cast<std::int16_t>(green[i] >> kLowBits);
        b[i] = static_cast<std::int16_t>(blue[i] >> kLowBits);
    }
    for (std::size_t i = 0; i < kPart; ++i) {
        y[i] = Yuv::Y(r[i], g[i], b[i]);
    }
    std::array<std::uint8_t, kPart / 2> u;
    std::array<std::uint8_t, kPart / 2> v;
    for (std::size_t i = 0; i < kPart / 2; ++i) {
        const int meanRed = (r[2 * i] + r[2 * i + 1]) >> 1;
        const int meanGreen = (g[2 * i] + g[2 * i + 1]) >> 1;
        const int meanBlue = (b[2 * i] + b[2 * i + 1]) >> 1;
        u[i] = Yuv::U(meanRed, meanGreen, meanBlue);
        v[i] = Yuv::V(meanRed, meanGreen, meanBlue);
    }
    for (std::size_t i = 0; i < kPart / 2; ++i) {
        line[4 * i] = u[i];
        line[4 * i + 1] = y[2 * i];
        line[4 * i + 2] = v[i];
        line[4 * i + 3] = y[2 * i + 1];
    }
}

} // namespace

void PackUyvy(const std::uint16_t* red, const std::uint16_t* green, const std::uint16_t* blue,
              std::size_t count, std::uint8_t* line)
{
    std::size_t i = 0;
    for (; i + kPart <= count; i += kPart, line += 2 * kPart) {
        PackUyvyPart(red + i, green + i, blue + i, line);
    }
    for (; i < count; i += 2, line += 4) {
        const int r0 = red[i] >> kLowBits;
        const int g0 = green[i] >> kLowBits;
        const int b0 = blue[i] >> kLowBits;
        if (i + 1 == count) {
            line[0] = Yuv::U(r0, g0, b0);
            line[1] = Yuv::Y(r0, g0, b0);
            return;
        }
        const int r1 = red[i + 1] >> kLowBits;
        const int g1 = green[i + 1] >> kLowBits;
        const int b1 = blue[i + 1] >> kLowBits;
        const int r = (r0 + r1) / 2;
        const int g = (g0 + g1) / 2;
        const int b = (b0 + b1) / 2;
        line[0] = Yuv::U(r, g, b);
        line[1] = Yuv::Y(r0, g0, b0);
        line[2] = Yuv::V(r, g, b);
        line[3] = Yuv::Y(r1, g1, b1);
    }
}

} // namespace sim
