/** How far capture times are from the truth, in an hour of frames. Virtual: no clock is asked. */
#include "benchmarks/stamps/play.h"
#include "benchmarks/stamps/trace.h"

#include <cmath>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using namespace stamps;

namespace
{

Recipe Hour(std::uint64_t seed)
{
    Recipe recipe;
    recipe.seconds = 3600;
    recipe.lostRatio = 0.01;
    recipe.seed = seed;
    return recipe;
}

/** The largest error of the frames between two times, apart from the offset of the whole hour. */
double Worst(const Played& played, double fromS, double toS)
{
    const double offsetUs = Evaluate(played).offsetUs;
    double worst = 0;
    for (const StampError& error : played.errors) {
        if (error.atS >= fromS && error.atS < toS) {
            worst = std::max(worst, std::abs(error.errorUs - offsetUs));
        }
    }
    return worst;
}

} // namespace

TEST(Capture, AnHourIsWithinMicrosecondsWhateverTheDelays)
{
    struct Case {
        std::string what;
        void (*change)(Recipe*);
        double most; ///< 99 % of the errors
        double worst = 100;
        double crowdUs = 0; ///< every two minutes all frames of eight seconds are so much later
    };
    const auto lognormal = [](Recipe* r) {
        r->delays = Delays::Lognormal;
        r->jitterUs = 100;
    };
    const auto pareto = [](Recipe* r) {
        r->delays = Delays::Pareto;
        r->jitterUs = 100;
    };
    const auto halfLate = [](Recipe* r) {
        r->tailRatio = 0.5;
        r->tailUs = 9000;
    };
    const auto manyHalfLate = [](Recipe* r) {
        r->fps = 500;
        r->seconds = 600;
        r->tailRatio = 0.5;
        r->tailUs = 9000;
    };
    const auto fewLate = [](Recipe* r) {
        r->fps = 5;
        r->jitterUs = 300;
    };
    const auto wanderingLognormal = [](Recipe* r) {
        r->wanderPpm = 1;
        r->delays = Delays::Lognormal;
        r->jitterUs = 100;
    };
    const std::vector<Case> cases = {
        {"exponential", [](Recipe*) {}, 0.6},
        {"lognormal", lognormal, 3},
        {"Pareto", pareto, 0.6},
        {"half are late", halfLate, 1, 1000},
        {"half of many are late", manyHalfLate, 1, 9000},
        {"crowds of late ones", [](Recipe*) {}, 0.6, 100, 150},
        {"fast camera clock", [](Recipe* r) { r->driftPpm = -80; }, 0.6},
        {"a tick of rounded length", [](Recipe* r) { r->driftPpm = 2000; }, 1, 300},
        {"a counter that wraps", [](Recipe* r) { r->tickBits = 32; }, 0.6},
        {"few frames", [](Recipe* r) { r->fps = 5; }, 3},
        {"few frames, long delays", fewLate, 30, 1000},
        {"wandering", [](Recipe* r) { r->wanderPpm = 1; }, 2},
        {"wandering, lognormal", wanderingLognormal, 10},
    };
    for (const Case& one : cases) {
        Recipe recipe = Hour(3);
        one.change(&recipe);
        Trace trace = MakeTrace(recipe);
        for (TraceFrame& frame : trace.frames) {
            const double atS = (frame.truthUs - trace.frames[0].truthUs) / 1e6;
            frame.arrivalUs += std::fmod(atS, 120) > 112 ? one.crowdUs : 0;
        }
        const Played played = PlayCapture(trace);
        const Summary errors = Evaluate(played).withoutOffset;
        EXPECT_LT(errors.most, one.most) << one.what;
        EXPECT_LT(errors.worst, one.worst) << one.what;
        EXPECT_EQ(played.wentBack, 0U) << one.what;
        EXPECT_EQ(played.reanchored, 0U) << one.what;
    }
}

TEST(Capture, FollowsAClockThatIsSetWithinTwoSeconds)
{
    constexpr double kSetAtS = 300;
    for (const double fps : {5.0, 100.0}) {
        for (const double stepUs : {-1e12, -200'000.0, -3000.0, 900.0, 200'000.0, 3.6e9}) {
            for (const bool camera : {false, true}) {
                Recipe recipe = Hour(4);
                recipe.seconds = 2 * kSetAtS;
                recipe.fps = fps;
                recipe.firstTick = 2e15;
                if (!camera) {
                    recipe.clockSteps = {{kSetAtS, stepUs}};
                }
                Trace trace = MakeTrace(recipe);
                const double setAtUs = trace.frames[0].truthUs + kSetAtS * 1e6;
                for (TraceFrame& frame : trace.frames) {
                    frame.ticks += camera && frame.truthUs >= setAtUs
                                       ? static_cast<std::uint64_t>(std::llround(stepUs * 1e3))
                                       : 0;
                }
                const Played played = PlayCapture(trace);
                const std::string what = fmt::format("{} moved by {} us, {} per second",
                                                     camera ? "camera" : "host", stepUs, fps);
                EXPECT_EQ(played.reanchored, 1U) << what;
                EXPECT_LE(played.wentBack, 1U) << what;
                EXPECT_LT(Worst(played, 10, kSetAtS - 1), 20) << what;
                EXPECT_LT(Worst(played, kSetAtS + 2, 2 * kSetAtS), 20) << what;
            }
        }
    }
}

TEST(Capture, ASingleWrongTimeStampAffectsNoOtherFrame)
{
    Recipe recipe = Hour(5);
    recipe.seconds = 300;
    Trace trace = MakeTrace(recipe);
    const std::size_t wrong = trace.frames.size() / 2;
    trace.frames[wrong].ticks += 3'600'000'000'000;
    Played played = PlayCapture(trace);
    EXPECT_EQ(played.reanchored, 0U);
    played.errors.erase(played.errors.begin() + static_cast<std::ptrdiff_t>(wrong) - 1);
    EXPECT_LT(Worst(played, 10, 300), 20);
}
