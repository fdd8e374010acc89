/** Automatic brightness alone, on scenes that are formulas. */
#include "sim/camera/auto_brightness.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

namespace
{

using sim::AutoBrightness;
using sim::AutoBrightnessInput;

/** Mean of a picture, 0 to 255, by exposure times gain. */
using View = std::function<double(double strength)>;

double Flat(double strength)
{
    return 255 * std::min(1.0, strength / 20'000);
}

/** Every level of light alike: highlights clip one after the other. */
double Ramp(double strength)
{
    double sum = 0;
    for (int i = 0; i < 256; ++i) {
        sum += std::min(255.0, i * strength / 10'000);
    }
    return sum / 256;
}

View Toned(double gamma)
{
    return [=](double strength) { return 255 * std::pow(Ramp(strength) / 255, gamma); };
}

AutoBrightnessInput Input(double exposureUs, double gain)
{
    return {.mean = 0,
            .target = 128,
            .exposure = {.value = exposureUs, .min = 10, .max = 2e6, .automatic = true},
            .gain = {.value = gain, .min = 1, .max = 8, .automatic = true},
            .gainFirst = false};
}

/** What happened while it was regulated for some frames. */
struct Course {
    double lowest = 255;
    double highest = 0;
    double largestStep = 1;
};
Course Frames(AutoBrightness* control, const View& view, int count, AutoBrightnessInput* now)
{
    Course course;
    for (int i = 0; i < count; ++i) {
        now->mean = view(now->exposure.value * now->gain.value);
        const AutoBrightness::Setting next = control->Next(*now);
        const double step = next.exposureUs * next.gain / now->exposure.value / now->gain.value;
        course.largestStep = std::max({course.largestStep, step, 1 / step});
        now->exposure.value = next.exposureUs;
        now->gain.value = next.gain;
        const double mean = view(next.exposureUs * next.gain);
        course.lowest = std::min(course.lowest, mean);
        course.highest = std::max(course.highest, mean);
    }
    return course;
}

TEST(AutoBrightness, ArrivesFromFarWithoutJumpOrSwing)
{
    struct Case {
        View view;
        double swing; ///< how far beyond the target it may go on its way, as a share
    };
    for (const Case& scene :
         {Case{Flat, 0.25}, Case{Ramp, 0.06}, Case{Toned(0.45), 0.04}, Case{Toned(2.2), 0.5}}) {
        for (const double target : {60, 128, 190}) {
            double strength = 10;
            while (scene.view(strength) < target) {
                strength *= 1.001;
            }
            for (const double off : {0.01, 0.1, 10.0, 100.0}) {
                SCOPED_TRACE(testing::Message() << scene.swing << ' ' << target << ' ' << off);
                AutoBrightnessInput now = Input(strength * off, 1);
                now.target = target;
                now.gain.automatic = false;
                now.exposure.min = 0.1;
                now.exposure.max = 1e8;
                AutoBrightness control;
                const Course course = Frames(&control, scene.view, 15, &now);
                EXPECT_NEAR(scene.view(now.exposure.value), target, 0.03 * target);
                EXPECT_LE(course.largestStep, 2.0001);
                EXPECT_GE(course.lowest, off < 1 ? 0 : target * (1 - scene.swing));
                EXPECT_LE(course.highest, off > 1 ? 255 : target * (1 + scene.swing));
                const Course rest = Frames(&control, scene.view, 30, &now); // and stays
                EXPECT_GE(rest.lowest, 0.96 * target);
                EXPECT_LE(rest.highest, 1.04 * target);
            }
        }
    }
}

TEST(AutoBrightness, KeepsToTheLimitsWhateverComesIn)
{
    for (const double odd : {std::nan(""), 0.0, -1.0, 1e300, HUGE_VAL}) {
        AutoBrightness control;
        for (const double mean : {odd, 0.0, 255.0, 128.0, odd, 10.0}) {
            AutoBrightnessInput now = Input(odd, odd);
            now.mean = mean;
            const AutoBrightness::Setting next = control.Next(now);
            EXPECT_TRUE(next.exposureUs >= 10 && next.exposureUs <= 2e6) << odd << next.exposureUs;
            EXPECT_TRUE(next.gain >= 1 && next.gain <= 8) << odd << next.gain;
        }
    }
    AutoBrightnessInput crossed = Input(1000, 1);
    crossed.exposure.min = 3000;
    crossed.exposure.max = 2000;
    EXPECT_EQ(AutoBrightness().Next(crossed).exposureUs, 2000);
}

} // namespace
