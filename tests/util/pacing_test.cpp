#include "tests/util/frame_source.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace KvTd
{

constexpr std::uint64_t kOnTime = 100'000;
constexpr std::uint64_t kEarly = 99'500;     // lag 1495, below 1995 - 199
constexpr std::uint64_t kLate = 100'300;     // lag 2295, not below 1995 + 199
constexpr std::uint64_t kVeryLate = 110'000; // lag 11 995, not below 4 * 1995

/** The distance at which a frame lags so far behind its stamp. */
constexpr std::uint64_t Lag(std::uint64_t us)
{
    return kOnTime + us - 1995;
}

TEST(Pacing, RegularStampsFollowTheArrivals)
{
    //      arrival   |──── 100 000 ────►|──── 100 040 ────►|──── 99 960 ────►|
    //      stamp         always a period after the arrival before, less the lag of 1995
    FrameSource source;
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
    const auto second = source.After(100'040, 100'000);
    EXPECT_TRUE(second.arrival.initTrigger);
    EXPECT_EQ(second.arrival.oldFrameTsUs, 0U);
    EXPECT_EQ(second.arrival.oldDiffUs, source.init.tsDiffAdjUs);
    EXPECT_EQ(second.arrival.newDiffUs, source.init.tsDiffAdjUs + 40);
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
        source.After(100'000);
        const std::uint64_t stamp = source.clock.frameTsUs();
        const auto step = source.After(stamp - source.frame.hostGotUs + (reached ? 1 : 0), 100'000);
        EXPECT_EQ(step.arrival.initTrigger, !reached);
        EXPECT_EQ(step.arrival.oldFrameTsUs, reached ? 0 : stamp);
        EXPECT_EQ(step.stamp, reached ? stamp : source.frame.hostGotUs - 1995);
    }
}

TEST(Pacing, StampsThatGoBackAnchorOnceAndKeepThePeriod)
{
    //      camera   5.0 s   5.1 s   0.2 s (went back)   0.3 s
    FrameSource source(1000);
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
TEST(Pacing, ReanchorsAfterItsNumberOfFrames)
{
    struct Frames {
        int count;
        std::uint64_t distanceUs;
    };
    struct Case {
        float fps;
        std::vector<Frames> frames;
        const char* anchored; ///< the frames that did so: Fast, Slow, eXtra-slow
    };
    for (const Case& c : {
             Case{10, {{64, kOnTime}}, ""},
             {10, {{64, kEarly}}, "F31 F62 "},
             {10, {{64, kLate}}, "S31 S62 "},
             {10.9F, {{64, kLate}}, "S31 S62 "}, // the rate is truncated
             // A very late frame is late as well.
             {10, {{64, kVeryLate}}, "X11 X22 S31 X33 X44 X55 S62 "},
             // Below one frame a second each frame does.
             {0.9F, {{3, kEarly}}, "F1 F2 F3 "},
             {0.9F, {{2, kVeryLate}}, "S1 X1 S2 X2 "},
             // Only a frame on time clears the counts.
             {10, {{15, kEarly}, {1, kLate}, {16, kEarly}}, "F32 "},
             {10, {{10, kVeryLate}, {1, kLate}, {1, kVeryLate}}, "X12 "},
             {10, {{30, kEarly}, {1, kOnTime}, {30, kEarly}}, ""},
             {10, {{30, kLate}, {1, kOnTime}, {30, kLate}}, ""},
             {10, {{10, kVeryLate}, {1, kOnTime}, {10, kVeryLate}}, ""},
             // A tenth around the expected lag of 1995: 1796 = early | on time | 2194 = late.
             {0.5F, {{1, Lag(1795)}}, "F1 "},
             {0.5F, {{1, Lag(1796)}}, ""},
             {0.5F, {{1, Lag(2193)}}, ""},
             {0.5F, {{1, Lag(2194)}}, "S1 "},
             // Very late is four times 2000, to which the late frame itself re-anchored.
             {0.5F, {{1, Lag(7990)}}, "S1 "},
             {0.5F, {{1, Lag(8000)}}, "S1 X1 "},
         }) {
        FrameSource source(0, c.fps);
        std::string anchored;
        for (const Frames& frames : c.frames) {
            for (int i = 0; i < frames.count; ++i) {
                const auto pace = source.After(frames.distanceUs).pace;
                const std::string number = std::to_string(source.number - 1) + " ";
                anchored += pace.fast ? "F" + number : "";
                anchored += pace.slow ? "S" + number : "";
                anchored += pace.extraSlow ? "X" + number : "";
            }
        }
        EXPECT_EQ(anchored, c.anchored) << c.fps << " fps, " << c.frames[0].distanceUs << " us";
    }
}

TEST(Pacing, ReanchoringTakesTheLatencyAsExpectedLag)
{
    //      before    expected lag 1995 = 2000 - 5      limits 1796, 2194
    //      after     expected lag 2000                 limits 1800, 2200
    FrameSource source(0, 0.5F);
    const auto before = source.After(kEarly).pace;
    ASSERT_TRUE(before.fast);
    EXPECT_EQ(before.fastLimitUs, 1796U);
    EXPECT_EQ(before.slowLimitUs, 2194U);
    const auto pace = source.After(kOnTime).pace;
    EXPECT_EQ(pace.fastLimitUs, 1800U);
    EXPECT_EQ(pace.slowLimitUs, 2200U);
}

} // namespace KvTd
