/** Distinguishes a tick counter that wrapped from one that was set. */
#pragma once

#include <algorithm>
#include <cmath>

namespace kvgrab
{

/** The period of the counter, in nanoseconds, when it seems to have wrapped: `seenNs`, by how much
 *  it went back according to the time that passed on the host, is near a power of two of ticks. 0
 *  when it was set instead. */
inline double WrapNs(double seenNs, double nsPerTick)
{
    constexpr double kLateNs = 100e6; // arrivals are no more accurate than that
    const double ticks = std::max(seenNs / nsPerTick, 1.0);
    const double wrapNs = std::exp2(std::round(std::log2(ticks))) * nsPerTick;
    return std::abs(wrapNs - seenNs) < std::min(kLateNs, wrapNs / 8) ? wrapNs : 0;
}

} // namespace kvgrab
