#include "report/clock_drift.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using kvgrab::ClockDrift;

namespace
{

/** A camera whose clock runs `ppm` slower than the host's; arrivals are late by a heavy tail. */
struct Link {
    double ppm = 0;
    double fps = 100;
    double seconds = 60;
    double stepAtS = 1e9; ///< the host's clock is set then
    std::int64_t stepNs = 0;
    double cameraResetAtS = 1e9;
    std::int64_t wrapNs = INT64_MAX;
    bool flawless = false;
};

std::optional<ClockDrift::Estimate> Measure(const Link& link)
{
    ClockDrift drift(1);
    std::mt19937_64 random(5);
    std::exponential_distribution<double> usual(1.0 / 30e3); // ns
    std::uniform_real_distribution<double> chance(0, 1);
    const auto frames = static_cast<std::int64_t>(link.fps * link.seconds);
    for (std::int64_t i = 0; i < frames; ++i) {
        const double atS = static_cast<double>(i) / link.fps; // on the host's clock
        const double cameraS =
            atS * (1 - link.ppm * 1e-6) - (atS >= link.cameraResetAtS ? link.cameraResetAtS : 0);
        double lateNs = link.flawless ? 0 : usual(random);
        if (!link.flawless && chance(random) < 0.02) {
            lateNs += 20e6 * chance(random);
        }
        const std::int64_t step = atS >= link.stepAtS ? link.stepNs : 0;
        drift.Frame(std::llround(cameraS * 1e9) % link.wrapNs,
                    1'700'000'000'000'000'000 + std::llround(atS * 1e9 + lateNs) + step);
    }
    return drift.Fit();
}

} // namespace

TEST(ClockDrift, FindsTheValueToConfigureBehindAHeavyTail)
{
    for (const double ppm : {-100.0, -3.0, 0.0, 50.0, 100.0}) {
        const auto minute = Measure({.ppm = ppm});
        ASSERT_TRUE(minute);
        EXPECT_NEAR(minute->nsPerS, ppm * 1000, 150) << ppm;
        EXPECT_LT(minute->uncertainNsPerS, 300);
        EXPECT_NEAR(minute->nsPerS, ppm * 1000, 2 * minute->uncertainNsPerS);
        EXPECT_EQ(minute->IsSignificant(), ppm != 0);
        const auto hour = Measure({.ppm = ppm, .fps = 30, .seconds = 3600});
        ASSERT_TRUE(hour);
        EXPECT_NEAR(hour->nsPerS, ppm * 1000, 3) << ppm;
        EXPECT_LT(hour->uncertainNsPerS, 5);
        EXPECT_NEAR(hour->seconds, 3600, 40);
    }
    const auto exact = Measure({.ppm = 50, .flawless = true});
    ASSERT_TRUE(exact);
    EXPECT_NEAR(exact->nsPerS, 50'000, 0.1);
}

TEST(ClockDrift, AStepOfTheHostsClockAndANewStartOfTheCamerasMoveLittle)
{
    for (const double stepAtS : {100.0, 300.0, 550.0}) {
        const auto stepped =
            Measure({.ppm = 50, .seconds = 600, .stepAtS = stepAtS, .stepNs = 3'000'000'000});
        ASSERT_TRUE(stepped);
        EXPECT_NEAR(stepped->nsPerS, 50'000, 60) << stepAtS;
    }
    const auto reset = Measure({.ppm = 50, .seconds = 600, .cameraResetAtS = 250});
    ASSERT_TRUE(reset);
    EXPECT_NEAR(reset->nsPerS, 50'000, 60);
}

TEST(ClockDrift, SaysNothingBeforeThereIsSomethingToSay)
{
    EXPECT_FALSE(ClockDrift(8).Fit());
    EXPECT_FALSE(Measure({.seconds = 1}));
    EXPECT_TRUE(Measure({.seconds = 4}));
    EXPECT_FALSE(Measure({.fps = 0.001, .seconds = 1})) << "one frame";
}

TEST(ClockDrift, ACounterThatWrapsEveryFewSecondsIsTakenOn)
{
    const auto wrapping = Measure({.ppm = 50, .seconds = 600, .wrapNs = 4'294'967'296});
    ASSERT_TRUE(wrapping);
    EXPECT_NEAR(wrapping->nsPerS, 50'000, 60);
}
