#include "sim/picture/noise.h"

#include "sim/picture/pixel_packing.h"

#include <algorithm>
#include <cmath>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace sim
{

namespace
{

/** Of a sensor that takes some 20,000 electrons, in 12-bit digital numbers at gain 1. */
constexpr double kReadNoise = 2.5;     ///< standard deviation
constexpr double kShotPerSample = 0.2; ///< variance for each digital number of signal

constexpr double kMostNoise = 1000;
constexpr double kMostGain = 4096;

/** A positive number up to `most`; 0 for anything that is none. */
double Bounded(double value, double most)
{
    return value > 0 ? std::min(value, most) : 0;
}

/** SplitMix64's last step: every bit of the input moves every bit of the result. */
constexpr std::uint64_t Mixed(std::uint64_t value)
{
    value += 0x9E3779B97F4A7C15;
    value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9;
    value = (value ^ value >> 27) * 0x94D049BB133111EB;
    return value ^ value >> 31;
}

constexpr std::size_t kGrains = 1U << 16; ///< any 16 bits are a place in the table
constexpr std::size_t kPiece = 512;       ///< grains taken from one place
constexpr int kGrainUnit = 8192;          ///< one standard deviation; four of them just fit
constexpr int kProductShift = 16;
static_assert(kDeviationUnit * kGrainUnit >> kProductShift == 1 << kMeanShift);

using Grains = std::array<std::int16_t, kGrains + kPiece>;

/** Normally distributed numbers of mean 0 and deviation 1. */
const Grains& NormalGrains()
{
    static const Grains kTable = [] {
        Grains grains{};
        std::uint64_t state = 0;
        const auto uniform = [&state] { // above 0, up to 1
            return (static_cast<double>(Mixed(state++) >> 11) + 1) * 0x1p-53;
        };
        const auto grain = [](double deviations) {
            constexpr double kMost = 4 * kGrainUnit - 1;
            return static_cast<std::int16_t>(
                std::lrint(std::clamp(deviations * kGrainUnit, -kMost, kMost)));
        };
        constexpr double kTurn = 6.283185307179586;
        int sum = 0;
        for (std::size_t i = 0; i < kGrains; i += 2) {
            const double radius = std::sqrt(-2 * std::log(uniform()));
            const double angle = kTurn * uniform();
            grains[i] = grain(radius * std::cos(angle));
            grains[i + 1] = grain(radius * std::sin(angle));
            sum += grains[i] + grains[i + 1];
        }
        // What is left of the mean would be the same in every picture.
        const int offset = sum / static_cast<int>(kGrains);
        for (std::size_t i = 0; i < kGrains; ++i) {
            grains[i] = static_cast<std::int16_t>(std::clamp(grains[i] - offset, -32767, 32767));
        }
        std::copy_n(grains.begin(), kPiece, grains.begin() + kGrains);
        return grains;
    }();
    return kTable;
}

} // namespace

void NoiseLevels::Set(const PictureJob& job, const Response& response)
{
    const bool color = IsColor(job.pixelFormat);
    const double noise = Bounded(job.noise, kMostNoise);
    const double gain = Bounded(job.gain, kMostGain);
    std::array<double, kChannels> balance{};
    balance.fill(1);
    if (color) {
        balance = job.balance;
    }
    if (version_ != 0 && response.Version() == responseVersion_ && color == color_ &&
        noise == noise_ && gain == gain_ && balance == balance_) {
        return;
    }
    responseVersion_ = response.Version();
    color_ = color;
    noise_ = noise;
    gain_ = gain;
    balance_ = balance;
    ++version_;
    for (const Channel channel : {kRed, kGreen, kBlue}) {
        if (color || channel == kGreen) {
            Rebuild(channel, Bounded(gain * balance[channel], kMostGain), response);
        }
    }
}

/** Mean and deviation behind clip and tone come from three of the values that the noise makes of a
 *  sample: itself and the two at sqrt(3) deviations, weighted 4 : 1 : 1, which is exact where the
 *  curve is a straight line and fair at its ends. */
void NoiseLevels::Rebuild(Channel channel, double gain, const Response& response)
{
    constexpr float kReach = 1.7320508F;
    constexpr float kFarthest = 65535;
    constexpr float kMeanOf12Bits = 1 << (kMeanShift - (kSampleBits - 8));
    constexpr float kDeviationOf12Bits = kDeviationUnit >> (kSampleBits - 8);
    const auto scale = static_cast<float>(noise_ * kReach);
    const auto read = static_cast<float>(gain * gain * kReadNoise * kReadNoise);
    const auto shot = static_cast<float>(gain * kShotPerSample);
    const auto factor = static_cast<float>(response.Factor(channel));
    const auto clipped = [](float sample) {
        return static_cast<std::int16_t>(std::clamp(sample, 0.0F, float{kSampleMax}) + 0.5F);
    };
    constexpr std::size_t kPart = 256; // a loop each for what can and what can't be vector code
    std::array<std::array<std::int16_t, kPart>, 3> samples;
    auto& [low, middle, high] = samples;
    for (std::size_t part = 0; part <= kLightMax; part += kPart) {
        for (std::size_t i = 0; i < kPart; ++i) {
            const auto light = static_cast<float>(static_cast<std::int32_t>(part + i));
            const float sample = std::min(light * factor, kFarthest);
            const float reach = std::min(scale * std::sqrt(read + shot * sample), kFarthest);
            low[i] = clipped(sample - reach);
            middle[i] = clipped(sample);
            high[i] = clipped(sample + reach);
        }
        if (response.HasTone()) {
            for (auto& row : samples) {
                for (std::int16_t& sample : row) {
                    sample = static_cast<std::int16_t>(
                        response.Tone(channel, static_cast<std::uint16_t>(sample)));
                }
            }
        }
        for (std::size_t i = 0; i < kPart; ++i) {
            const auto center = static_cast<float>(middle[i]);
            const float below = static_cast<float>(low[i]) - center;
            const float above = static_cast<float>(high[i]) - center;
            const float shift = (below + above) / 6;
            const float variance = (below * below + above * above) / 6 - shift * shift;
            const float deviation = std::sqrt(std::max(variance, 0.0F)) * kDeviationOf12Bits;
            levels_[channel][part + i] = {
                static_cast<std::int16_t>((center + shift) * kMeanOf12Bits + 0.5F),
                static_cast<std::int16_t>(std::min(deviation + 0.5F, 32767.0F))};
        }
    }
}

void NoiseField::Set(std::uint64_t seed, std::uint32_t frameNumber)
{
    NormalGrains(); // made here, rather than within a line
    key_ = Mixed(Mixed(seed) + frameNumber);
}

namespace
{

/** `count` values of a line with their noise. 16 bits throughout, for eight at a time. */
template <typename Value, int kShift, int kMost>
void Blend(const std::int16_t* __restrict mean, const std::int16_t* __restrict deviation,
           const std::int16_t* __restrict grains, std::size_t count, Value* __restrict values)
{
    for (std::size_t i = 0; i < count; ++i) {
        const auto grain = static_cast<std::int16_t>(deviation[i] * grains[i] >> kProductShift);
        const auto value =
            static_cast<std::int16_t>(static_cast<std::int16_t>(mean[i] + grain) >> kShift);
        values[i] =
            static_cast<Value>(std::min<std::int16_t>(std::max<std::int16_t>(value, 0), kMost));
    }
}

/** The same for bytes. Compilers do not find the instruction that clips while it packs, which is
 *  worth a third of the time. */
void BlendBytes(const std::int16_t* mean, const std::int16_t* deviation, const std::int16_t* grains,
                std::size_t count, std::uint8_t* bytes)
{
    std::size_t done = 0;
#ifdef __SSE2__
    const auto half = [&](std::size_t at) {
        const auto aligned = [at](const std::int16_t* values) {
            return _mm_load_si128(reinterpret_cast<const __m128i*>(values + at));
        };
        const __m128i grain = _mm_mulhi_epi16(
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(grains + at)), aligned(deviation));
        return _mm_srai_epi16(_mm_add_epi16(grain, aligned(mean)), kMeanShift);
    };
    for (; done + 16 <= count; done += 16) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes + done),
                         _mm_packus_epi16(half(done), half(done + 8)));
    }
#endif
    Blend<std::uint8_t, kMeanShift, 0xFF>(mean + done, deviation + done, grains + done,
                                          count - done, bytes + done);
}

} // namespace

template <typename Value, typename BlendPiece>
void NoiseField::Draw(std::uint32_t y, const NoisyLine& line, std::size_t count, Value* values,
                      BlendPiece blend) const
{
    const Grains& table = NormalGrains();
    const std::uint64_t row = Mixed(key_ + y);
    for (std::size_t at = 0; at < count; at += kPiece) {
        const std::int16_t* grains = table.data() + (Mixed(row + at) >> 48);
        blend(line.mean + at, line.deviation + at, grains, std::min(kPiece, count - at),
              values + at);
    }
}

void NoiseField::Apply(std::uint32_t y, const NoisyLine& line, std::size_t count,
                       std::uint8_t* bytes) const
{
    Draw(y, line, count, bytes, BlendBytes);
}

void NoiseField::Apply(std::uint32_t y, const NoisyLine& line, std::size_t count,
                       std::uint16_t* samples) const
{
    Draw(y, line, count, samples, Blend<std::uint16_t, kMeanShift - (kSampleBits - 8), kSampleMax>);
}

} // namespace sim
