/** From the settings of a camera's table and gamma to a curve.
 *
 *  A table of n bits takes the high n bits of a sample; its entry becomes the high n bits of the
 *  result, the others are 0. Gamma is an exponent: out = in ^ gamma, both from 0 to 1. */
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
    /** Null: samples stay as they are. The same curve as before until a setting is written, so
     *  that a frame allocates nothing. */
    std::shared_ptr<const ToneCurve> Current(const ToneFeatures& tone);

private:
    std::uint64_t revision_ = 0;
    std::shared_ptr<const ToneCurve> curve_; // none: the settings at power-up are Off
};

} // namespace sim
