#include "dynamic_lut.h"

#include <algorithm>

namespace kvgrab
{

namespace
{

constexpr unsigned kMostBits = 16;
constexpr std::uint32_t kKnots = 128;
constexpr std::uint32_t kInterpolatedEntries = 256;

} // namespace

void FillEmptyStatistics(unsigned bits, std::uint32_t* cdf)
{
    if (bits <= kMostBits && cdf != nullptr) {
        std::fill_n(cdf, std::size_t{1} << bits, 0U);
    }
}

void FillIdentityTable(unsigned bits, int outBits, std::uint16_t* lut)
{
    if (bits > kMostBits || outBits < 1 || outBits > static_cast<int>(kMostBits) ||
        lut == nullptr) {
        return;
    }
    const std::uint32_t entries = 1U << bits;
    const std::uint32_t outputs = 1U << static_cast<unsigned>(outBits);
    // Rounding to 8 bits adds half a step; from the largest value it must not reach 256.
    const std::uint32_t largest = outputs - 1 - (outBits > 8 ? (1U << (outBits - 9)) : 0);
    const bool knots = bits == 8 || bits == 16;
    for (std::uint32_t i = 0; i < entries; ++i) {
        const std::uint64_t value =
            knots ? std::uint64_t{std::min(i, kKnots - 1)} * 2 * outputs / kInterpolatedEntries
                  : std::uint64_t{i} * outputs / entries;
        lut[i] = static_cast<std::uint16_t>(std::min<std::uint64_t>(value, largest));
    }
}

} // namespace kvgrab
