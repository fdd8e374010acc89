#include "sim/picture/pixel_packing.h"

#include "sim/picture/scene.h"
#include "sim/picture/wide_vectors.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace sim
{

namespace
{

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

SIM_WIDE_VECTORS void PackHigh8(const std::uint16_t* __restrict samples, std::size_t count,
                                std::uint8_t* __restrict line)
{
    for (std::size_t i = 0; i < count; ++i) {
        line[i] = static_cast<std::uint8_t>(samples[i] >> kLowBits);
    }
}

SIM_WIDE_VECTORS void PackMosaic(const std::uint16_t* __restrict even,
                                 const std::uint16_t* __restrict odd, std::size_t count,
                                 std::uint8_t* __restrict line)
{
    for (std::size_t i = 0; i < count / 2; ++i) {
        line[2 * i] = static_cast<std::uint8_t>(even[i] >> kLowBits);
        line[2 * i + 1] = static_cast<std::uint8_t>(odd[i] >> kLowBits);
    }
    if (count % 2 != 0) {
        line[count - 1] = static_cast<std::uint8_t>(even[count / 2] >> kLowBits);
    }
}

SIM_WIDE_VECTORS void Pack16(const std::uint16_t* samples, std::size_t count, std::uint8_t* line)
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
        // Four samples at a time: each step writes two bytes too many, which the next overwrites.
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

constexpr std::size_t kPart = 16; ///< pixels at a time
using Lanes = std::uint16_t __attribute__((vector_size(2 * kPart)));
using PairLanes = std::uint32_t __attribute__((vector_size(2 * kPart)));

/** The weights of one channel, by pixel. */
struct Weights {
    std::array<std::uint16_t, kPart> y;     ///< in 1/256
    std::array<std::uint16_t, kPart> own;   ///< for U of even pixels, V of odd ones; in 1/128
    std::array<std::uint16_t, kPart> other; ///< for the value of the other pixel of the pair
};

/** Full-range BT.601; sums of three 8-bit values never leave 8 bits. U and V come from the sum of
 *  two pixels: products and sums fit 16 bits. */
constexpr Weights WeightsOf(int y, int u, int v)
{
    Weights weights{};
    for (std::size_t i = 0; i < kPart; ++i) {
        weights.y[i] = static_cast<std::uint16_t>(y);
        weights.own[i] = static_cast<std::uint16_t>(i % 2 == 0 ? u : v);
        weights.other[i] = static_cast<std::uint16_t>(i % 2 == 0 ? v : u);
    }
    return weights;
}
constexpr std::array<Weights, 3> kWeights{WeightsOf(77, -22, 64), WeightsOf(150, -42, -54),
                                          WeightsOf(29, 64, -10)};

SIM_WIDE_VECTORS void PackUyvyParts(const std::array<Weights, 3>& weights,
                                    const std::array<const std::uint16_t*, 3> samples,
                                    std::size_t parts, std::uint8_t* line)
{
    for (std::size_t at = 0; at < parts * kPart; at += kPart) {
        Lanes y = Lanes{} + 128;
        Lanes own = Lanes{} + (0x8000 + 127); // middle of chroma, and the rounding term
        Lanes other{};
        for (std::size_t channel = 0; channel < 3; ++channel) {
            const Weights& weight = weights[channel];
            Lanes bytes;
            Lanes factors;
            std::memcpy(&bytes, samples[channel] + at, sizeof(bytes));
            bytes >>= kLowBits;
            std::memcpy(&factors, weight.y.data(), sizeof(factors));
            y += bytes * factors;
            std::memcpy(&factors, weight.own.data(), sizeof(factors));
            own += bytes * factors;
            std::memcpy(&factors, weight.other.data(), sizeof(factors));
            other += bytes * factors;
        }
        const auto pairs = reinterpret_cast<PairLanes>(other);
        own += reinterpret_cast<Lanes>(pairs << 16 | pairs >> 16);
        Lanes pixels = own >> 8 | (y & 0xFF00);
        if constexpr (std::endian::native == std::endian::big) {
            pixels = pixels << 8 | pixels >> 8;
        }
        std::memcpy(line + 2 * at, &pixels, sizeof(pixels));
    }
}

} // namespace

void PackUyvy(const std::uint16_t* red, const std::uint16_t* green, const std::uint16_t* blue,
              std::size_t count, std::uint8_t* line)
{
    const std::size_t parts = count / kPart;
    PackUyvyParts(kWeights, {red, green, blue}, parts, line);
    const std::size_t done = parts * kPart;
    if (done == count) {
        return;
    }
    // The remaining pixels, padded with copies of the last one.
    std::array<std::array<std::uint16_t, kPart>, 3> rest;
    for (std::size_t i = 0; i < kPart; ++i) {
        const std::size_t at = std::min(done + i, count - 1);
        rest[0][i] = red[at];
        rest[1][i] = green[at];
        rest[2][i] = blue[at];
    }
    std::array<std::uint8_t, 2 * kPart> bytes;
    PackUyvyParts(kWeights, {rest[0].data(), rest[1].data(), rest[2].data()}, 1, bytes.data());
    std::copy_n(bytes.begin(), 2 * (count - done), line + 2 * done);
}

} // namespace sim
