#include "tests/util/frame_source.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

namespace KvTd
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t kOnTime = 100'000;
constexpr std::uint64_t kEarly = 99'500;     // lag 1495, below 1995 - 199
constexpr std::uint64_t kLate = 100'300;     // lag 2295, not below 1995 + 199
constexpr std::uint64_t kVeryLate = 110'000; // lag 11 995, not below 4 * 1995

/** Which of the following frames, counted from 1, re-anchored the clock. */
struct Anchored {
    std::vector<int> fast;
    std::vector<int> slow;
    std::vector<int> extraSlow;
};

static Anchored Feed(FrameSource& source, int frames, std::uint64_t distanceUs)
{
    Anchored anchored;
    for (int i = 1; i <= frames; ++i) {
        const auto pace = source.After(distanceUs).pace;
        if (pace.fast) {
            anchored.fast.push_back(i);
        }
        if (pace.slow) {
            anchored.slow.push_back(i);
        }
        if (pace.extraSlow) {
            anchored.extraSlow.push_back(i);
        }
    }
    return anchored;
}

TEST(Pacing, RegularStampsFollowTheArrivals)
{
    //      arrival   |──── 100 000 ────►|──── 100 040 ────►|──── 99 960 ────►|
    //      stamp         always a period after the arrival before, less the lag of 1995
    FrameSource source;
    source.First();
    std::uint64_t arrival = source.frame.hostGotUs;
    for (const std::uint64_t distance : {100'000U, 100'040U, 99'960U, 100'000U}) {
        const auto step = source.After(distance);
        EXPECT_EQ(step.stamp, arrival + FrameSource::kPeriod - 1995);
        EXPECT_EQ(step.pace.lagUs, 1995 + distance - FrameSource::kPeriod);
        EXPECT_FALSE(step.arrival.initTrigger);
        arrival = source.frame.hostGotUs;
    }
}

TEST(Pacing, FollowsTheCameraFromTheSecondFrameOn)
{
    //      host    | 1    | 2          | 3                 arrivals jitter by 40 us,
    //      camera  | 1      | 2      | 3                   the camera runs exactly
    FrameSource source(1000);
    const auto init = source.First();

    const auto second = source.After(100'040, 100'000);
    EXPECT_TRUE(second.arrival.initTrigger);
    EXPECT_EQ(second.arrival.oldFrameTsUs, 0U);
    EXPECT_EQ(second.arrival.oldDiffUs, init.tsDiffAdjUs);
    EXPECT_EQ(second.arrival.newDiffUs, init.tsDiffAdjUs + 40);
    EXPECT_EQ(second.arrival.newFrameTsUs, source.frame.hostGotUs - 1995);
    EXPECT_EQ(second.stamp, second.arrival.newFrameTsUs);
    EXPECT_EQ(second.pace.lagUs, 1995U);

    const auto third = source.After(99'960, 100'000);
    EXPECT_FALSE(third.arrival.initTrigger);
    EXPECT_EQ(third.stamp, second.stamp + 100'000) << "the camera's distance, not the host's";
    EXPECT_EQ(third.pace.lagUs, 1955U);
}

TEST(Pacing, StampThatIsNotYetReachedIsSetAnew)
{
    //      stamp of 3                       |◄─ 100 000 after that of 2
    //      arrival of 3   at the stamp, or one microsecond behind it
    for (const bool reached : {false, true}) {
        FrameSource source(1000);
        source.First();
        source.After(100'000);
        const std::uint64_t stamp = source.clock.frameTsUs();
        const auto step = source.After(stamp - source.frame.hostGotUs + (reached ? 1 : 0), 100'000);
        EXPECT_EQ(step.arrival.initTrigger, !reached);
        EXPECT_EQ(step.stamp, reached ? stamp : source.frame.hostGotUs - 1995);
    }
}

TEST(Pacing, StampsThatGoBackAnchorOnceAndKeepThePeriod)
{
    //      camera   5.0 s   5.1 s   0.2 s (went back)   0.3 s
    FrameSource source(1000);
    source.First();
    source.After(100'000);
    const auto back = source.After(100'000, static_cast<std::uint64_t>(-4'900'000));
    EXPECT_TRUE(back.arrival.wrapped);
    EXPECT_EQ(back.arrival.prevCamTsUs, 5'100'000U);
    EXPECT_EQ(source.clock.measuredPeriodUs(), 100'000U);
    EXPECT_EQ(source.clock.frameTsUs(), source.frame.hostGotUs - 1995 + 100'000);
    EXPECT_FALSE(source.After(100'000).arrival.wrapped);

    EXPECT_FALSE(source.After(100'000, 0).arrival.wrapped) << "the same stamp has not gone back";
    EXPECT_EQ(source.clock.measuredPeriodUs(), 0U);
}

TEST(Pacing, GapOfAboutTwoPeriodsIsNoNewPeriod)
{
    //      period 10 000:   |─── 18 999 ───►| taken      |─── 19 000 ───►| a frame was lost
    FrameSource source;
    source.frame.framePeriodUs = 10'000;
    source.First();
    source.After(10'000, 18'999);
    EXPECT_EQ(source.clock.measuredPeriodUs(), 18'999U);
    source.After(10'000, 19'000);
    EXPECT_EQ(source.clock.measuredPeriodUs(), 18'999U);
    source.After(10'000, 0x1'0000'0000 + 10'000);
    EXPECT_EQ(source.clock.measuredPeriodUs(), 18'999U) << "compared before it is cut to 32 bits";
}

// At 10 fps three seconds are 30 frames, and the 31st re-anchors:
//
//      first   early early early ... early (31st: Fast)   early ...   early (62nd: Fast)
struct LastingCase {
    const char* name;
    std::uint64_t distanceUs;
    float fps;
    std::vector<int> fast;
    std::vector<int> slow;
    std::vector<int> extraSlow;
};

class Lasting : public testing::TestWithParam<LastingCase>
{
};

TEST_P(Lasting, ReanchorsAfterItsNumberOfFrames)
{
    const LastingCase& c = GetParam();
    FrameSource source(0, c.fps);
    source.First();
    const Anchored anchored = Feed(source, 64, c.distanceUs);
    EXPECT_EQ(anchored.fast, c.fast);
    EXPECT_EQ(anchored.slow, c.slow);
    EXPECT_EQ(anchored.extraSlow, c.extraSlow);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Lasting,
    testing::Values(LastingCase{"OnTime", kOnTime, 10, {}, {}, {}},
                    LastingCase{"Early", kEarly, 10, {31, 62}, {}, {}},
                    LastingCase{"Late", kLate, 10, {}, {31, 62}, {}},
                    // A very late frame is late as well.
                    LastingCase{"VeryLate", kVeryLate, 10, {}, {31, 62}, {11, 22, 33, 44, 55}},
                    LastingCase{"RateIsTruncated", kLate, 10.9F, {}, {31, 62}, {}}),
    [](const auto& it) { return std::string(it.param.name); });

TEST(Pacing, SlowerThanOneFrameASecondReanchorsAtOnce)
{
    FrameSource early(0, 0.9F);
    early.First();
    EXPECT_THAT(Feed(early, 3, kEarly).fast, ElementsAre(1, 2, 3));

    FrameSource veryLate(0, 0.9F);
    veryLate.First();
    const Anchored anchored = Feed(veryLate, 2, kVeryLate);
    EXPECT_THAT(anchored.slow, ElementsAre(1, 2));
    EXPECT_THAT(anchored.extraSlow, ElementsAre(1, 2));
}

TEST(Pacing, OnlyAnOnTimeFrameClearsTheCounts)
{
    //      early x 15   late   early x 15   early (31st early one: Fast)
    FrameSource source;
    source.First();
    EXPECT_THAT(Feed(source, 15, kEarly).fast, IsEmpty());
    EXPECT_THAT(Feed(source, 1, kLate).slow, IsEmpty());
    EXPECT_THAT(Feed(source, 16, kEarly).fast, ElementsAre(16));

    //      early x 30   on time   early x 30; late and very late ones alike
    for (const auto& [distance, most] : {std::pair{kEarly, 30}, {kLate, 30}, {kVeryLate, 10}}) {
        FrameSource cleared;
        cleared.First();
        for (int i = 0; i < 2; ++i) {
            const Anchored anchored = Feed(cleared, most, distance);
            EXPECT_THAT(anchored.fast, IsEmpty());
            EXPECT_THAT(anchored.slow, IsEmpty());
            EXPECT_THAT(anchored.extraSlow, IsEmpty());
            Feed(cleared, 1, kOnTime);
        }
    }

    //      very late x 10   late   very late (11th: extra-Slow)
    FrameSource kept;
    kept.First();
    Feed(kept, 10, kVeryLate);
    Feed(kept, 1, kLate);
    EXPECT_THAT(Feed(kept, 1, kVeryLate).extraSlow, ElementsAre(1));
}

TEST(Pacing, LimitsAreATenthAroundTheExpectedLag)
{
    //      expected lag 1995    1796 = early | on time | 2194 = late
    for (const auto& [lag, early, late] : {std::tuple{1795U, true, false},
                                           {1796U, false, false},
                                           {2193U, false, false},
                                           {2194U, false, true}}) {
        FrameSource source(0, 0.5F);
        source.First();
        const auto pace = source.After(100'000 + lag - 1995).pace;
        EXPECT_EQ(pace.lagUs, lag);
        EXPECT_EQ(pace.fast, early) << lag;
        EXPECT_EQ(pace.slow, late) << lag;
        EXPECT_EQ(pace.fastLimitUs, 1796U);
        EXPECT_EQ(pace.slowLimitUs, 2194U);
    }
}

TEST(Pacing, ReanchoringTakesTheLatencyAsExpectedLag)
{
    //      before    expected lag 1995 = 2000 - 5      limits 1796, 2194
    //      after     expected lag 2000                 limits 1800, 2200
    FrameSource source(0, 0.5F);
    source.First();
    ASSERT_TRUE(source.After(kEarly).pace.fast);
    const auto pace = source.After(kOnTime).pace;
    EXPECT_EQ(pace.fastLimitUs, 1800U);
    EXPECT_EQ(pace.slowLimitUs, 2200U);
}

TEST(Pacing, VeryLateIsMeasuredAfterTheLateFrameReanchored)
{
    //      lag 7990: four times 1995 is 7980, four times the re-anchored 2000 is 8000
    FrameSource source(0, 0.5F);
    source.First();
    const auto pace = source.After(100'000 + 7990 - 1995).pace;
    EXPECT_TRUE(pace.slow);
    EXPECT_FALSE(pace.extraSlow);
}

TEST(Pacing, ReanchoringMovesTheOffsetToTheArrival)
{
    //      camera   |── 100 000 ──►|── 100 000 ──►
    //      host     |── 100 000 ──►|── 100 300 ──►  late: the offset grows by 300
    FrameSource source(1000, 0.5F);
    source.First();
    source.After(100'000);
    ASSERT_TRUE(source.After(100'300, 100'000).pace.slow);
    // The next stamp is a period after this arrival less its latency, with no correction yet: the
    // reference is the arrival itself, the prediction lies before it, and -1995 us hardly drift.
    EXPECT_EQ(source.clock.frameTsUs(), source.frame.hostGotUs - 1995 + 100'000);
}

} // namespace KvTd
