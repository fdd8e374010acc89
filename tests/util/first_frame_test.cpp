#include "tests/util/frame_source.h"

#include <gtest/gtest.h>

namespace KvTd
{

// The latency of the first frame, in 32-bit arithmetic, by one of two formulas:
//
//      by host        loop start |◄──── latency + periods of the rounds before ────►| arrival
//      by exposure    exposure + (stamp from the halves) - (stamp)
struct FirstCase {
    const char* name;
    std::uint64_t loopStartUs;
    std::uint64_t hostGotUs;
    std::uint64_t camTsUs;
    std::uint64_t firstTsUs;
    std::int32_t exposureUs;
    std::uint32_t roundsBefore;
    std::int32_t latencyUs;
};

class FirstLatency : public testing::TestWithParam<FirstCase>
{
};

TEST_P(FirstLatency, FollowsFromHostOrExposure)
{
    const FirstCase& c = GetParam();
    FrameClock clock(c.loopStartUs, 1000);
    FrameTimes frame;
    frame.hostGotUs = c.hostGotUs;
    frame.camTsUs = c.camTsUs;
    frame.firstTsUs = c.firstTsUs;
    frame.exposureUs = c.exposureUs;
    frame.framePeriodUs = 1000;
    frame.latencyUs = 5;

    const auto init = clock.First(frame, c.roundsBefore);

    const auto latency = static_cast<std::uint64_t>(std::int64_t{c.latencyUs});
    const std::uint64_t tsBase = 5 + c.hostGotUs - latency;
    EXPECT_EQ(init.startLatencyUs, c.latencyUs);
    EXPECT_EQ(init.diffCheckUs, latency - 5);
    EXPECT_EQ(init.tsDiffAdjUs, tsBase - c.camTsUs);
    EXPECT_EQ(clock.frameTsUs(), 0U) << "the first frame has no stamp";
    EXPECT_EQ(clock.measuredPeriodUs(), 1000U);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FirstLatency,
    testing::Values(
        FirstCase{"ByHost", 1'000'000, 1'007'300, 900, 900, 77, 0, 7300},
        FirstCase{"ByHostWithoutAnyStamp", 1'000'000, 1'007'300, 0, 0, 77, 0, 7300},
        FirstCase{"ByHostAfterMissedRounds", 1'000'000, 1'007'300, 900, 900, 77, 3, 4300},
        FirstCase{"ByHostNegative", 1'000'000, 1'007'300, 900, 900, 77, 8, -700},
        FirstCase{"ByHostAcrossThe32BitWrap", 0x1FFFFFF00, 0x200000100, 9, 9, 77, 0, 0x200},
        FirstCase{"ByHostOfWhichOnlyTheLowHalfCounts", 0, 0x500000010, 9, 9, 77, 0, 0x10},
        FirstCase{"ByExposure", 1'000'000, 1'007'300, 0, 300, 10'000, 4, 10'300},
        FirstCase{"ByExposureMinusTheStamp", 1'000'000, 1'007'300, 250, 300, 10'000, 4, 10'050},
        FirstCase{"ByExposureWrapped", 1'000'000, 1'007'300, 0, 0x7FFFFF00, 100, 0, 0x7FFFFF64},
        FirstCase{"ByExposureNegative", 1'000'000, 1'007'300, 0, 0xFFFFFF00, 100, 0, -156}),
    [](const auto& it) { return std::string(it.param.name); });

TEST(FirstFrame, AnnouncesTheSecondOnlyFromHostTime)
{
    //      loop start      frame 1 (arrives at 2000)          frame 2 is expected
    //      |── 2000 ──────►|                                  |
    //      |── 5 ─────────────── 100 000 ────────────────────►|
    FrameSource regular;
    regular.First();
    EXPECT_EQ(regular.clock.frameTsUs(), FrameSource::kLoopStart + 5 + 100'000);

    FrameSource byCamera(1000);
    byCamera.First();
    EXPECT_EQ(byCamera.clock.frameTsUs(), 0U);
}

TEST(FirstFrame, NegativeLatencyMakesEveryLaterFrameLate)
{
    // Lag and limits are unsigned: an expected lag of -161 is nearly 2^64, and a tenth more wraps.
    FrameSource source(0, 0.5F);
    source.frame.hostGotUs = FrameSource::kLoopStart - 156;
    source.First();
    const auto step = source.After(100'000);
    EXPECT_EQ(step.pace.lagUs, static_cast<std::uint64_t>(-161));
    EXPECT_FALSE(step.pace.fast);
    EXPECT_TRUE(step.pace.slow);
    EXPECT_EQ(step.pace.slowLimitUs, 1'844'674'407'370'954'984U);
    EXPECT_TRUE(step.pace.extraSlow) << "four times the re-anchored -156 wraps to below the lag";
    EXPECT_EQ(step.pace.extraSlowLimitUs, static_cast<std::uint64_t>(-624));
}

} // namespace KvTd
