/** Summaries of repeated measurements. */
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <vector>

namespace bench
{

/** 0 without values. */
inline double Median(std::vector<double> values)
{
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2;
}

/** The median of the ratios of values that were measured in turns, as many of each side. Whatever
 *  slows the machine for longer than a turn slows both sides, so it hardly changes the ratio. */
inline double MedianRatio(const std::vector<double>& of, const std::vector<double>& to)
{
    std::vector<double> ratios(of.size());
    std::transform(of.begin(), of.end(), to.begin(), ratios.begin(), std::divides<>());
    return Median(ratios);
}

} // namespace bench
