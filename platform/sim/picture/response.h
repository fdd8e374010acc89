/** Converts the light of a row into samples: exposure, gain, white balance, noise and clipping.
 *
 *      root^2 -> x exposure, gain, ratio -> + noise -> clipped to 12 bits -> curve
 *
 *  All of it is 16-bit arithmetic, so that compilers can vectorise it. The curve, with one look-up
 *  per pixel, takes longer than the rest; without a curve this step is skipped. */
#pragma once

#include "sim/picture/noise.h"
#include "sim/picture/picture_job.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace sim
{

/** How a channel responds to light. Samples are computed in halves of a 12-bit step. */
struct Response {
    std::uint16_t most = 0;     ///< more light is clipped to this, in 1/65536 of the brightest
    std::uint16_t lift = 0;     ///< factor on the light
    std::uint16_t mantissa = 0; ///< second factor, in 1/65536
    std::uint16_t shot = 0;     ///< shot noise at the brightest light, in 1/16 of a sample; 0: none
    std::int16_t read = 0;      ///< read noise, in the same unit
    const std::uint16_t* curve = nullptr; ///< of the job; null: none
};

/** `channel` may be kGrey, which has no white balance. The channel is black unless the product of
 *  exposure, gain and ratio is a positive number. */
Response ResponseOf(const PictureJob& job, unsigned channel);

/** Computes a sample for each root, without noise. */
void Expose(const Response& response, std::span<const std::uint16_t> roots, std::uint16_t* samples);
/** The same, with the noise of this row. */
void ExposeNoisy(const Response& response, std::span<const std::uint16_t> roots,
                 const Grains& grains, std::uint64_t row, std::uint16_t* samples);

} // namespace sim
