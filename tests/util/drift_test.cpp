#include "tests/util/frame_source.h"

#include <gtest/gtest.h>
#include <limits>

namespace KvTd
{

constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
constexpr std::uint64_t kSecond = 1'000'000;

// The correction grows with the time since the reference, which frame 2 set:
//
//      frame 2 (reference)   |──── t seconds ────►| frame 3: t * tsAdjNs / 1000 microseconds
//
// Its bounds are +-0x60000000 = 1 610 612 736 us, and 32 bits.
TEST(Drift, CorrectionGrowsWithTheTimeSinceTheReference)
{
    struct Case {
        std::int32_t tsAdjNs;
        std::uint64_t seconds;
        std::int32_t adjUs;
        bool overflow;
    };
    for (const Case& c : {Case{1000, 10, 10, false},
                          {-1000, 10, -10, false},
                          {-1999, 1, -1, false}, // truncated towards zero
                          {kMost, 750, 1'610'612'735, false},
                          {kMost, 751, 1'612'760'218, true},
                          {-kMost, 750, -1'610'612'735, false},
                          {-kMost, 751, -1'612'760'218, true},
                          {kMost, 1001, std::numeric_limits<std::int32_t>::min(), true}}) {
        FrameSource source(c.tsAdjNs);
        source.After(100'000);
        const std::uint64_t offset = source.frame.hostGotUs - 1995 - source.frame.camTsUs;
        const auto step = source.After(c.seconds * kSecond);
        EXPECT_EQ(step.next.adjUs, c.adjUs);
        EXPECT_EQ(step.next.overflow, c.overflow);
        EXPECT_EQ(source.clock.frameTsUs(), 100'000 + source.frame.camTsUs + offset +
                                                static_cast<std::uint64_t>(std::int64_t{c.adjUs}));
    }
}

TEST(Drift, OverflowIsAppliedOnce)
{
    //      frame 3, 751 s after the reference: -1 612 760 218 us are out of bounds but still count
    //      frame 4, 0.1 s later: -214 748 us, counted from frame 3
    FrameSource source(-kMost);
    source.After(100'000);
    ASSERT_TRUE(source.After(751 * kSecond).next.overflow);
    const auto after = source.After(100'000);
    EXPECT_FALSE(after.next.overflow);
    EXPECT_EQ(after.next.adjUs, -214'748);
}

TEST(Drift, ReanchoringCountsFromTheArrival)
{
    //      late frame: the reference is its arrival, 1995 us after what was predicted for it
    FrameSource source(kMost, 0.5F);
    source.After(100'000);
    const auto late = source.After(kSecond, 100'000);
    ASSERT_TRUE(late.pace.slow);
    EXPECT_EQ(late.next.adjUs, -4284) << "-1995 us at 2.147 us each";
    EXPECT_EQ(source.clock.frameTsUs(), source.frame.hostGotUs - 1995 + 100'000 - 4284);
}

TEST(Drift, UnevenCamerasStampsMayGoBack)
{
    //      camera    |── 100 ms ──|── 140 ms ────|─ 60 ms ─|
    //      stamp of the next frame: that of this one, plus the interval before it
    FrameSource source(1, 10, 102'000); // the lag leaves them in the past
    source.After(100'000);
    const std::uint64_t even = source.clock.frameTsUs();
    source.After(140'000);
    EXPECT_EQ(source.clock.frameTsUs(), even + 140'000 + 40'000);
    EXPECT_FALSE(source.After(60'000).arrival.initTrigger);
    EXPECT_EQ(source.clock.frameTsUs(), even + 200'000 - 40'000) << "20 ms before the one before";
}

} // namespace KvTd
