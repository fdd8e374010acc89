/** From the light of a row to samples: exposure, gain, white balance, noise and clip.
 *
 *      root^2 -> x exposure, gain, ratio -> + noise -> clipped to 12 bits -> curve
 *
 *  All of it is arithmetic of 16 bits, so that compilers make vector code of it; the curve, one
 *  look-up a pixel, takes longer than the rest and is left out where there is none. */
#pragma once

#include "sim/picture/noise.h"
#include "sim/picture/picture_job.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace sim
{

/** What a channel's light goes through. Samples are worked out in halves of a step of 12 bits. */
struct Response {
    std::uint16_t most = 0;     ///< light beyond this is as bright, in 1/65536 of the brightest
    std::uint16_t lift = 0;     ///< it is multiplied by this,
    std::uint16_t mantissa = 0; ///< and by 1/65536 of this
    std::uint16_t shot = 0;     ///< noise of the brightest light, in 1/16 of a sample; 0: none
    std::int16_t read = 0;      ///< and that of reading out
    const std::uint16_t* curve = nullptr; ///< of the job; null: none
};

/** `channel` may be kGrey, which has no white balance. A product of exposure, gain and ratio that
 *  is no positive number gives a black channel. */
Response ResponseOf(const PictureJob& job, unsigned channel);

/** As many samples as roots, without noise. */
void Expose(const Response& response, std::span<const std::uint16_t> roots, std::uint16_t* samples);
/** With the noise of this row. */
void ExposeNoisy(const Response& response, std::span<const std::uint16_t> roots,
                 const Grains& grains, std::uint64_t row, std::uint16_t* samples);

} // namespace sim
