#include "sim/picture/response.h"

#include "sim/picture/pixel_packing.h"
#include "sim/picture/wide_vectors.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace sim
{

namespace
{

/** Noise of a sensor with a full well of some 20,000 electrons, in 12-bit digital numbers at
 *  gain 1.
 */
constexpr double kReadNoise = 2.5;     ///< standard deviation
constexpr double kShotPerSample = 0.2; ///< variance for each digital number of signal

constexpr double kMostFactor = 4096; ///< larger factors make no difference
constexpr double kMostGain = 4096;

// Samples are computed in halves of a 12-bit step, up to twice white, to leave room for noise at
// white and beyond.
constexpr std::int16_t kWhite = 2 * kSampleMax + 1;
constexpr double kHalvesPerLight = 2 * (kSampleMax + 1); ///< 65536 times the factor from light
constexpr int kDeviationUnit = 65536 / kGrainUnit;
/** With this deviation, even two grains of four standard deviations leave the sum within 16 bits.
 */
constexpr double kMostDeviation = 16383;

/** Limits a positive number to `most`; 0 for anything else, NaN included. */
double Bounded(double value, double most)
{
    return value > 0 ? std::min(value, most) : 0;
}

/** Converts a deviation in samples into the factor for grains. */
std::int16_t Deviation(double samples)
{
    return static_cast<std::int16_t>(
        std::lround(Bounded(2 * kDeviationUnit * samples, kMostDeviation)));
}

constexpr std::uint16_t High(std::uint16_t a, std::uint16_t b)
{
    return static_cast<std::uint16_t>(std::uint32_t{a} * b >> 16);
}
constexpr std::int16_t High(std::int16_t a, std::int16_t b)
{
    return static_cast<std::int16_t>(std::int32_t{a} * b >> 16);
}

/** The signal before noise and clipping, in halves of a step. */
constexpr std::int16_t Signal(const Response& response, std::uint16_t root)
{
    const std::uint16_t light = std::min(High(root, root), response.most);
    const auto lifted = static_cast<std::uint16_t>(light * response.lift);
    return static_cast<std::int16_t>(High(lifted, response.mantissa));
}

constexpr std::uint16_t Clipped(std::int16_t halves)
{
    return static_cast<std::uint16_t>(std::min(halves, kWhite) >> 1);
}

SIM_WIDE_VECTORS void ExposeLine(const Response response, const std::uint16_t* __restrict roots,
                                 std::size_t count, std::uint16_t* __restrict samples)
{
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = Clipped(Signal(response, roots[i]));
    }
}

SIM_WIDE_VECTORS void ExposePiece(const Response response, const std::uint16_t* __restrict roots,
                                  const Grains::Piece grains, std::size_t count,
                                  std::uint16_t* __restrict samples)
{
    const std::int16_t* __restrict first = grains.first;
    const std::int16_t* __restrict second = grains.second;
    for (std::size_t i = 0; i < count; ++i) {
        const auto shot = static_cast<std::int16_t>(High(roots[i], response.shot));
        const int noise = High(shot, first[i]) + High(response.read, second[i]);
        // Both products are rounded down, by a half on average: 1 makes up for it.
        const auto sum = static_cast<std::int16_t>(Signal(response, roots[i]) + noise + 1);
        samples[i] = Clipped(std::max(sum, std::int16_t{0}));
    }
}

void ApplyCurve(const std::uint16_t* __restrict curve, std::size_t count,
                std::uint16_t* __restrict samples)
{
    if (curve == nullptr) {
        return;
    }
    std::size_t i = 0;
    for (; i < count; ++i) {
        samples[i] = curve[samples[i]];
    }
}

} // namespace

Response ResponseOf(const PictureJob& job, unsigned channel)
{
    const double ratio = channel == kGrey ? 1 : job.balance[channel];
    const double factor =
        Bounded(job.exposureUs / kReferenceExposureUs * job.gain * ratio, kMostFactor);
    const double gain = Bounded(job.gain * ratio, kMostGain);
    const double noise = Bounded(job.noise, kMostDeviation);
    Response response;
    // `most` is the light that gives twice white; `lift` makes the product use all of 16 bits.
    response.most = static_cast<std::uint16_t>(std::min(131071 / std::max(factor, 1.0), 65535.0));
    response.lift =
        static_cast<std::uint16_t>(std::exp2(std::floor(std::log2(std::max(factor / 2, 1.0)))));
    response.mantissa =
        static_cast<std::uint16_t>(std::lround(factor * kHalvesPerLight / response.lift));
    response.shot = static_cast<std::uint16_t>(
        Deviation(noise * std::sqrt(kShotPerSample * gain * factor * (kSampleMax + 1))));
    response.read = Deviation(noise * gain * kReadNoise);
    if (job.tone != nullptr) {
        response.curve = job.tone->samples[channel == kGrey ? kGreen : channel].data();
    }
    return response;
}

void Expose(const Response& response, std::span<const std::uint16_t> roots, std::uint16_t* samples)
{
    ExposeLine(response, roots.data(), roots.size(), samples);
    ApplyCurve(response.curve, roots.size(), samples);
}

void ExposeNoisy(const Response& response, std::span<const std::uint16_t> roots,
                 const Grains& grains, std::uint64_t row, std::uint16_t* samples)
{
    for (std::size_t at = 0; at < roots.size(); at += kGrainsInPiece) {
        ExposePiece(response, roots.data() + at, grains.At(row, at),
                    std::min(kGrainsInPiece, roots.size() - at), samples + at);
    }
    ApplyCurve(response.curve, roots.size(), samples);
}

} // namespace sim
