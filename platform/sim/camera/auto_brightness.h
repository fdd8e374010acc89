/** Automatic brightness: computes exposure and gain of the next picture from the brightness of the
 *  last one.
 *
 *  A pure unit: no camera, no clock. It works on logarithms, because brightness is a product, and
 *  changes that product by at most a factor of two per frame. How strongly the picture responds to
 *  a change (clipped highlights respond less, a steep tone curve more) is learnt from the step
 *  before. */
#pragma once

namespace sim
{

/** The setting that a picture was taken with, and its limits. */
struct AutoControl {
    double value = 0;
    double min = 0;
    double max = 0;
    bool automatic = false; ///< false: the value stays as it is
};

struct AutoBrightnessInput {
    double mean = 0;        ///< of the picture, 0 to 255
    double target = 0;      ///< the same scale
    AutoControl exposure;   ///< us
    AutoControl gain;       ///< linear factor
    bool gainFirst = false; ///< true: gain changes first, and exposure only when gain is at a
                            ///  limit; false: the other way round
};

class AutoBrightness
{
public:
    struct Setting {
        double exposureUs;
        double gain;
    };
    /** The setting for the next picture. Automatic values are within their limits whatever the
     *  input; when a lower limit is above the upper one, the upper one wins. */
    Setting Next(const AutoBrightnessInput& now);

private:
    double Step(double target, double mean, double strength);

    bool known_ = false; // true once there was a picture
    // Logarithms, of the last picture.
    double error_ = 0;      // target divided by mean
    double brightness_ = 0; // mean
    double strength_ = 0;   // exposure times gain
    double answer_ = 1;     // change of brightness divided by change of strength
    double caution_ = 1;    // factor on each step, reduced after overshooting the target
};

} // namespace sim
