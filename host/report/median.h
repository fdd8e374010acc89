/** Medians: averages that a few wrong values don't move. */
#pragma once

#include <algorithm>
#include <cstddef>

namespace kvgrab
{

/** From the median of absolute deviations to the standard deviation of normal errors. */
constexpr double kDeviationOfMedian = 1.4826;

/** Reorders the values. */
inline double MedianOf(double* values, std::size_t count)
{
    double* const middle = values + count / 2;
    std::nth_element(values, middle, values + count);
    return *middle;
}

} // namespace kvgrab
