/** Automatic brightness: from how bright a picture came out to the exposure and gain of the next.
 *
 *  A pure unit: no camera, no clock. It works on logarithms, because brightness is a product, and
 *  moves by at most a factor of two from frame to frame. How strongly the picture answers (clipped
 *  highlights answer less, a steep tone curve more) is learnt from its own last step. */
#pragma once

namespace sim
{

/** What a picture was taken with, and how far that may go. */
struct AutoControl {
    double value = 0;
    double min = 0;
    double max = 0;
    bool automatic = false; ///< false: it stays
};

struct AutoBrightnessInput {
    double mean = 0;        ///< of the picture, 0 to 255
    double target = 0;      ///< the same scale
    AutoControl exposure;   ///< us
    AutoControl gain;       ///< linear factor
    bool gainFirst = false; ///< which one moves as long as it can; the other does the rest
};

class AutoBrightness
{
public:
    struct Setting {
        double exposureUs;
        double gain;
    };
    /** For the next picture. What is automatic lies within its limits, whatever came in; above
     *  crossed limits the upper one holds. */
    Setting Next(const AutoBrightnessInput& now);

private:
    double Step(double target, double mean, double strength);

    bool known_ = false; // a picture was seen before
    // Logarithms, of the last picture.
    double error_ = 0;      // target by mean
    double brightness_ = 0; // mean
    double strength_ = 0;   // exposure times gain
    double answer_ = 1;     // change of brightness by change of strength
    double caution_ = 1;    // less after the target was overshot
};

} // namespace sim
