/** Computes the tone curve from the settings of a camera's look-up table and gamma.
 *
 *  A table of n bits is indexed by the high n bits of a sample; its entry becomes the high n bits
 *  of the result, whose other bits are 0. Gamma is an exponent: out = in ^ gamma, both from 0 to 1.
 */
#pragma once

#include "sim/camera/camera_features.h"
#include "sim/picture/picture_job.h"

#include <cstdint>
#include <memory>

namespace sim
{

class ToneMaker
{
public:
    /** Null when samples stay as they are. The curve is computed again only after a setting was
     *  written, so that a frame allocates nothing. */
    std::shared_ptr<const ToneCurve> Current(const ToneFeatures& tone);

private:
    std::uint64_t revision_ = 0;
    std::shared_ptr<const ToneCurve> curve_; // null at power-up, when table and gamma are Off
};

} // namespace sim
