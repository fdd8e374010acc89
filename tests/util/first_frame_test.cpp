#include "tests/util/frame_source.h"

#include <gtest/gtest.h>

namespace KvTd
{

// The latency of the first frame, in 32-bit arithmetic, by one of two formulas:
//
//      by host        loop start |◄──── latency + periods of the rounds before ────►| arrival
//      by exposure    exposure + (stamp from the halves) - (stamp)
TEST(FirstFrame, LatencyFollowsFromHostOrExposure)
{
    constexpr std::uint64_t kStart = 1'000'000;
    struct Case {
        std::uint64_t loopStartUs;
        std::uint64_t hostGotUs;
        std::uint64_t camTsUs;
        std::uint64_t firstTsUs;
        std::int32_t exposureUs;
        std::uint32_t roundsBefore;
        std::int32_t latencyUs;
    };
    for (const Case& c : {
             Case{kStart, kStart + 7300, 900, 900, 77, 0, 7300},
             {kStart, kStart + 7300, 0, 0, 77, 0, 7300}, // without any stamp
             {kStart, kStart + 7300, 900, 900, 77, 3, 4300},
             {kStart, kStart + 7300, 900, 900, 77, 8, -700},
             {0x1FFFFFF00, 0x200000100, 9, 9, 77, 0, 0x200}, // across the 32 bits
             {0, 0x500000010, 9, 9, 77, 0, 0x10},            // of which the low half counts
             {kStart, kStart + 7300, 0, 300, 10'000, 4, 10'300},
             {kStart, kStart + 7300, 250, 300, 10'000, 4, 10'050},
             {kStart, kStart + 7300, 0, 0x7FFFFF00, 100, 0, 0x7FFFFF64},
             {kStart, kStart + 7300, 0, 0xFFFFFF00, 100, 0, -156},
         }) {
        FrameClock clock(c.loopStartUs, 1000);
        const FrameTimes frame{c.hostGotUs, c.camTsUs, c.firstTsUs, 10, 1000, 5, c.exposureUs, 0};
        const auto init = clock.First(frame, c.roundsBefore);
        const auto latency = static_cast<std::uint64_t>(std::int64_t{c.latencyUs});
        EXPECT_EQ(init.startLatencyUs, c.latencyUs);
        EXPECT_EQ(init.diffCheckUs, latency - 5);
        EXPECT_EQ(init.tsDiffAdjUs, 5 + c.hostGotUs - latency - c.camTsUs);
        EXPECT_EQ(clock.frameTsUs(), 0U) << "the first frame has no stamp";
        EXPECT_EQ(clock.measuredPeriodUs(), 1000U);
    }
}

TEST(FirstFrame, NegativeLatencyMakesEveryLaterFrameLate)
{
    // Lag and limits are unsigned: an expected lag of -161 is nearly 2^64, and a tenth more wraps.
    FrameSource source(0, 0.5F, static_cast<std::uint64_t>(-156));
    const auto step = source.After(100'000);
    EXPECT_EQ(step.pace.lagUs, static_cast<std::uint64_t>(-161));
    EXPECT_FALSE(step.pace.fast);
    EXPECT_TRUE(step.pace.slow);
    EXPECT_EQ(step.pace.slowLimitUs, 1'844'674'407'370'954'984U);
    EXPECT_TRUE(step.pace.extraSlow) << "four times the re-anchored -156 wraps to below the lag";
    EXPECT_EQ(step.pace.extraSlowLimitUs, static_cast<std::uint64_t>(-624));
}

} // namespace KvTd
