/** What repeated measurements say. */
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <vector>

namespace bench
{

/** 0 of nothing. */
inline double Median(std::vector<double> values)
{
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2;
}

/** Of as many values of both sides, measured in turns: what slows the machine for longer than a
 *  turn slows both sides of it, and their ratio says little of that. */
inline double MedianRatio(const std::vector<double>& of, const std::vector<double>& to)
{
    std::vector<double> ratios(of.size());
    std::transform(of.begin(), of.end(), to.begin(), ratios.begin(), std::divides<>());
    return Median(ratios);
}

} // namespace bench
