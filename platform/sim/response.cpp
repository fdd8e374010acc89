#include "response.h"

#include <algorithm>
#include <cmath>

namespace sim
{

Response::Response()
{
    Set(kReferenceExposureUs, 1);
}

void Response::Set(double exposureUs, double gain)
{
    double factor = exposureUs / kReferenceExposureUs * gain;
    if (!(factor > 0)) { // also when it is not a number
        factor = 0;
    }
    factor = std::min(factor, double{kLightMax} + 1); // level 1 is white already
    if (factor == factor_) {
        return;
    }
    factor_ = factor;
    for (std::size_t light = 0; light <= kLightMax; ++light) {
        const double sample = std::floor(static_cast<double>(light) * factor + 0.5);
        const auto clipped = static_cast<std::uint16_t>(std::min(sample, double{kSampleMax}));
        for (auto& table : tables_) {
            table[light] = clipped;
        }
    }
}

void Response::Apply(Channel channel, const std::uint16_t* light, std::size_t count,
                     std::uint16_t* samples) const
{
    const auto& table = tables_[channel];
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = table[light[i] & kLightMax];
    }
}

} // namespace sim
