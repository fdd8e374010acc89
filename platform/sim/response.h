/** The sensor's answer to light: from a level of light to a sample, per channel.
 *
 *  One table per channel, so that whatever acts on single values (exposure, gain, and whatever a
 *  camera does to a channel's tone) costs one look-up per pixel. Rebuilt only when a parameter
 *  changed; never allocates after construction. */
#pragma once

#include "picture_job.h"
#include "pixel_packing.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace sim
{

class Response
{
public:
    Response();
    /** Clips at white. A product that is no positive number gives a black picture. */
    void Set(double exposureUs, double gain);
    std::uint16_t Sample(Channel channel, std::uint16_t light) const
    {
        return tables_[channel][light & kLightMax];
    }
    /** `light` and `samples` hold `count` values and may be the same array. */
    void Apply(Channel channel, const std::uint16_t* light, std::size_t count,
               std::uint16_t* samples) const;

private:
    double factor_ = 0;
    std::array<std::array<std::uint16_t, kLightMax + 1>, kChannels> tables_{};
};

} // namespace sim
