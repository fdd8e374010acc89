#include "session/dynamic_lut.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

namespace kvgrab
{

namespace
{

constexpr unsigned kMostBits = 16;
constexpr std::size_t kBins = 256;
constexpr std::size_t kKnots = 128;
constexpr double kFullScale = 4096;
constexpr double kSteepest = 4; ///< times the identity
constexpr std::uint64_t kPixelsEnough = 1 << 19;

/** Calls `count(y)` for the lines to be counted: all lines of a small picture, some pairs of lines
 *  of a large one, so that both kinds of lines of a mosaic are counted. */
template <class Count> void ForLines(const LevelSource& source, Count count)
{
    const std::uint64_t pixels = std::uint64_t{source.width} * source.height;
    const std::size_t step = static_cast<std::size_t>((pixels + kPixelsEnough - 1) / kPixelsEnough);
    for (std::size_t y = 0; y < source.height; ++y) {
        if (y / 2 % step == 0) {
            count(y);
        }
    }
}

/** Counts bytes in four tables, so that equal neighbours don't have to wait for each other's
 *  increment. */
class ByteCounter
{
public:
    void Count(const std::uint8_t* bytes, std::size_t count, std::size_t step)
    {
        std::size_t i = 0;
        for (; i + 4 * step <= count; i += 4 * step) {
            ++tables_[0][bytes[i]];
            ++tables_[1][bytes[i + step]];
            ++tables_[2][bytes[i + 2 * step]];
            ++tables_[3][bytes[i + 3 * step]];
        }
        for (; i < count; i += step) {
            ++tables_[0][bytes[i]];
        }
    }
    std::uint32_t Of(std::size_t level) const
    {
        return tables_[0][level] + tables_[1][level] + tables_[2][level] + tables_[3][level];
    }

private:
    std::array<std::array<std::uint32_t, 256>, 4> tables_{};
};

/** Counts the levels of bytes; each level takes `spread` entries of the result. */
void CountBytes(const LevelSource& source, std::size_t first, std::size_t step, std::size_t spread,
                std::span<std::uint32_t> counts)
{
    const auto* bytes = static_cast<const std::uint8_t*>(source.image);
    ByteCounter counter;
    ForLines(source, [&](std::size_t y) {
        counter.Count(bytes + y * source.lineLength * step + first, source.width * step - first,
                      step);
    });
    for (std::size_t level = 0; level < 256; ++level) {
        counts[level * spread] = counter.Of(level);
    }
}

void CountPacked12(const LevelSource& source, std::span<std::uint32_t> counts)
{
    const auto* bytes = static_cast<const std::uint8_t*>(source.image);
    ForLines(source, [&](std::size_t y) {
        const std::size_t line = y * source.lineLength;
        for (std::size_t i = line; i < line + source.width; ++i) {
            const std::uint8_t* pair = bytes + i / 2 * 3;
            const unsigned low = i % 2 == 0 ? pair[1] & 0x0FU : unsigned{pair[1]} >> 4;
            const unsigned level = unsigned{pair[i % 2 * 2]} << 4 | low;
            ++counts[level];
        }
    });
}

void CountTwelveInSixteen(const LevelSource& source, std::span<std::uint32_t> counts)
{
    const auto* bytes = static_cast<const std::uint8_t*>(source.image);
    ForLines(source, [&](std::size_t y) {
        const std::uint8_t* line = bytes + y * source.lineLength * 2;
        for (std::size_t x = 0; x < source.width; ++x) {
            ++counts[(unsigned{line[2 * x]} | unsigned{line[2 * x + 1]} << 8) & 0x0FFFU];
        }
    });
}

/** Computes the counts of 256 levels before a curve from the counts after it: the pixels up to an
 *  input are as many as the pixels up to its output. */
std::array<std::uint32_t, kBins> CountsAhead(const ToneCurve& curve, const std::uint32_t* cdf,
                                             unsigned bits)
{
    const std::size_t width = (std::size_t{1} << bits) / kBins;
    std::array<std::uint32_t, kBins> ahead{};
    for (std::size_t input = 0; input < kBins; ++input) {
        const double output = std::floor(curve[input] * kBins / kFullScale + 0.5);
        const auto bin = std::min(static_cast<std::size_t>(output), kBins - 1);
        ahead[input] = cdf[(bin + 1) * width - 1];
    }
    ahead.back() = cdf[kBins * width - 1];
    return ahead;
}

} // namespace

std::uint32_t LinesWithin(const LevelSource& source, unsigned bits, std::size_t bytes)
{
    constexpr std::uint64_t kBitsPerByte = 8;
    const std::uint64_t line = std::uint64_t{std::max(source.lineLength, source.width)} * bits;
    const std::uint64_t lines = line == 0 ? 0 : bytes * kBitsPerByte / line;
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(source.height, lines));
}

void CountLevels(const LevelSource& source, unsigned bits, std::uint32_t* cdf)
{
    if (bits > kMostBits || cdf == nullptr) {
        return;
    }
    const std::span counts(cdf, std::size_t{1} << bits);
    std::fill(counts.begin(), counts.end(), 0U);
    if (source.image == nullptr || source.width == 0) {
        return;
    }
    const bool bytes =
        source.layout == PixelLayout::kGrey8 || source.layout == PixelLayout::kBayerRg8;
    if (bytes && bits == 8) {
        CountBytes(source, 0, 1, 1, counts);
    } else if (source.layout == PixelLayout::kUyvy && bits == 16) {
        CountBytes(source, 1, 2, 256, counts);
    } else if (source.layout == PixelLayout::kGrey12Packed && bits == 12) {
        CountPacked12(source, counts);
    } else if (source.layout == PixelLayout::kGrey12 && bits == 16) {
        CountTwelveInSixteen(source, counts);
    }
    std::partial_sum(counts.begin(), counts.end(), counts.begin());
}

ToneCurve Equalize(const std::uint32_t* cdf, unsigned bits)
{
    const std::size_t width = (std::size_t{1} << bits) / kBins; // levels of a bin
    const double total = cdf[kBins * width - 1];
    std::array<double, kBins> counts{};
    for (std::size_t bin = 0; bin < kBins; ++bin) {
        const double below = bin == 0 ? 0.0 : cdf[bin * width - 1];
        counts[bin] = total > 0 ? cdf[(bin + 1) * width - 1] - below : 1.0;
    }
    const double pixels = total > 0 ? total : double{kBins};
    const double most = kSteepest * pixels / kBins;
    double cut = 0;
    for (double& count : counts) {
        cut += std::max(0.0, count - most);
        count = std::min(count, most);
    }
    ToneCurve curve{};
    for (std::size_t bin = 0; bin < kBins; ++bin) {
        curve[bin + 1] = curve[bin] + (counts[bin] + cut / kBins) * kFullScale / pixels;
    }
    return curve;
}

double ValueAt(const ToneCurve& curve, double input)
{
    const double at = std::clamp(input * kBins / kFullScale, 0.0, double{kBins});
    const auto bin = std::min(static_cast<std::size_t>(at), kBins - 1);
    return std::lerp(curve[bin], curve[bin + 1], at - static_cast<double>(bin));
}

void DynamicLut::MakeTable(unsigned bits, const std::uint32_t* cdf, int outBits, std::uint16_t* lut)
{
    if (bits < 8 || bits > kMostBits || outBits < 9 || outBits > static_cast<int>(kMostBits) ||
        cdf == nullptr || lut == nullptr) {
        return;
    }
    const ToneCurve curve = bits != 12 && applied_
                                ? Equalize(CountsAhead(*applied_, cdf, bits).data(), 8)
                                : Equalize(cdf, bits);
    applied_ = curve;

    const std::size_t entries = std::size_t{1} << bits;
    const std::size_t inputs = bits == 12 ? entries : kKnots;
    const double scale = static_cast<double>(1U << static_cast<unsigned>(outBits)) / kFullScale;
    const double largest = kFullScale * scale - 1 - (1U << static_cast<unsigned>(outBits - 9));
    for (std::size_t i = 0; i < entries; ++i) {
        const double input =
            static_cast<double>(std::min(i, inputs - 1)) * kFullScale / static_cast<double>(inputs);
        lut[i] = static_cast<std::uint16_t>(
            std::min(std::floor(ValueAt(curve, input) * scale + 0.5), largest));
    }
}

} // namespace kvgrab
