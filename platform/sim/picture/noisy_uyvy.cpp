/** In parts of a line and in loops of one kind of work each, which become vector code. */
#include "sim/picture/noisy_uyvy.h"

#include <algorithm>
#include <cmath>

namespace sim
{

namespace
{

/** Weights of BT.601 with the full range, in 1/256. */
struct Weights {
    int red;
    int green;
    int blue;
};
constexpr Weights kY{77, 150, 29};
constexpr Weights kU{-43, -84, 127};
constexpr Weights kV{127, -106, -21};
constexpr int kChromaZero = 128 << kMeanShift;
constexpr int kChromaHalf = 1 << (kMeanShift - 1); ///< chroma is rounded, luma cut like a sample

constexpr std::size_t kPart = 64; ///< pixels at a time; a last single one counts as two

/** Weighted sums of some pixels' channels, in 1/256: of the means, and of the variances. */
struct Sums {
    std::array<std::int32_t, kPart> mean;
    std::array<float, kPart> variance;

    void Set(const std::array<NoisyLine, kChannels>& channels, const Weights weights)
    {
        const std::int16_t* __restrict mr = channels[kRed].mean;
        const std::int16_t* __restrict mg = channels[kGreen].mean;
        const std::int16_t* __restrict mb = channels[kBlue].mean;
        for (std::size_t i = 0; i < kPart; ++i) {
            mean[i] = weights.red * mr[i] + weights.green * mg[i] + weights.blue * mb[i];
        }
        const std::int16_t* __restrict dr = channels[kRed].deviation;
        const std::int16_t* __restrict dg = channels[kGreen].deviation;
        const std::int16_t* __restrict db = channels[kBlue].deviation;
        const auto wr = static_cast<float>(weights.red * weights.red) / (256 * 256);
        const auto wg = static_cast<float>(weights.green * weights.green) / (256 * 256);
        const auto wb = static_cast<float>(weights.blue * weights.blue) / (256 * 256);
        for (std::size_t i = 0; i < kPart; ++i) {
            variance[i] = wr * static_cast<float>(dr[i] * dr[i]) +
                          wg * static_cast<float>(dg[i] * dg[i]) +
                          wb * static_cast<float>(db[i] * db[i]);
        }
    }
};

struct Levels {
    std::array<std::int16_t, kPart> mean;
    std::array<std::int16_t, kPart> deviation;

    void SetLuma(const Sums& sums)
    {
        for (std::size_t i = 0; i < kPart; ++i) {
            mean[i] = static_cast<std::int16_t>(sums.mean[i] >> 8);
            deviation[i] = static_cast<std::int16_t>(std::sqrt(sums.variance[i]));
        }
    }
    /** One for each pair: the mean of two has half the deviation of their sum. */
    void SetChroma(const Sums& sums)
    {
        for (std::size_t i = 0; i < kPart / 2; ++i) {
            const std::int32_t mixed = (sums.mean[2 * i] + sums.mean[2 * i + 1]) >> 9;
            mean[i] = static_cast<std::int16_t>(mixed + kChromaZero + kChromaHalf);
            deviation[i] = static_cast<std::int16_t>(
                0.5F * std::sqrt(sums.variance[2 * i] + sums.variance[2 * i + 1]));
        }
    }
};

void Interleave(const std::array<std::int16_t, kPart>& u, const std::array<std::int16_t, kPart>& y,
                const std::array<std::int16_t, kPart>& v, std::int16_t* __restrict values)
{
    for (std::size_t i = 0; i < kPart / 2; ++i) {
        values[4 * i] = u[i];
        values[4 * i + 1] = y[2 * i];
        values[4 * i + 2] = v[i];
        values[4 * i + 3] = y[2 * i + 1];
    }
}

} // namespace

void MixUyvy(const std::array<NoisyLine, kChannels>& channels, std::size_t count,
             const NoisyLine& line)
{
    std::array<NoisyLine, kChannels> part = channels;
    std::array<std::array<std::int16_t, 2 * kPart>, kChannels> rest; // the last ones, filled up
    Sums sums;
    Levels y;
    Levels u;
    Levels v;
    for (std::size_t at = 0; at < count; at += kPart) {
        const std::size_t pixels = std::min(kPart, count - at);
        for (std::size_t channel = 0; channel < kChannels; ++channel) {
            part[channel] = {channels[channel].mean + at, channels[channel].deviation + at};
            if (pixels < kPart) {
                std::int16_t* means = rest[channel].data();
                std::int16_t* deviations = means + kPart;
                std::copy_n(part[channel].mean, pixels, means);
                std::copy_n(part[channel].deviation, pixels, deviations);
                std::fill(means + pixels, means + kPart, means[pixels - 1]);
                std::fill(deviations + pixels, deviations + kPart, deviations[pixels - 1]);
                part[channel] = {means, deviations};
            }
        }
        sums.Set(part, kY);
        y.SetLuma(sums);
        sums.Set(part, kU);
        u.SetChroma(sums);
        sums.Set(part, kV);
        v.SetChroma(sums);
        if (pixels == kPart) {
            Interleave(u.mean, y.mean, v.mean, line.mean + 2 * at);
            Interleave(u.deviation, y.deviation, v.deviation, line.deviation + 2 * at);
            continue;
        }
        std::array<std::int16_t, 2 * kPart> values;
        Interleave(u.mean, y.mean, v.mean, values.data());
        std::copy_n(values.data(), 2 * pixels, line.mean + 2 * at);
        Interleave(u.deviation, y.deviation, v.deviation, values.data());
        std::copy_n(values.data(), 2 * pixels, line.deviation + 2 * at);
    }
}

} // namespace sim
