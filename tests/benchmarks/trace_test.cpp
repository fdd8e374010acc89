#include "benchmarks/stamps/play.h"
#include "benchmarks/stamps/trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

using namespace stamps;
using testing::HasSubstr;

namespace
{

Trace Read(const std::string& text)
{
    std::istringstream in(text);
    Trace trace;
    std::string error;
    EXPECT_TRUE(ReadTrace(in, &trace, &error)) << error;
    return trace;
}

std::string Refusal(const std::string& text)
{
    std::istringstream in(text);
    Trace trace;
    std::string error;
    EXPECT_FALSE(ReadTrace(in, &trace, &error)) << text;
    return error;
}

} // namespace

TEST(Trace, ComesBackAsItWasWritten)
{
    Recipe recipe;
    recipe.seconds = 3;
    recipe.lostRatio = 0.1;
    const Trace made = MakeTrace(recipe);
    std::ostringstream out;
    WriteTrace(made, out);
    const Trace read = Read(out.str());
    ASSERT_EQ(read.frames.size(), made.frames.size());
    EXPECT_TRUE(read.hasTruth);
    EXPECT_TRUE(read.startIsKnown);
    EXPECT_EQ(read.loopStartUs, made.loopStartUs);
    EXPECT_EQ(read.frames.back().ticks, made.frames.back().ticks);
    EXPECT_NEAR(read.frames.back().truthUs, made.frames.back().truthUs, 0.001);
}

TEST(Trace, NeedsNothingButFrames)
{
    const Trace bare = Read("1000000,500\r\n1020000,20000500\r\n\r\n1040000,40000500\r\n");
    EXPECT_FALSE(bare.hasTruth);
    EXPECT_DOUBLE_EQ(bare.fps, 50);
    EXPECT_FALSE(bare.startIsKnown);
    EXPECT_DOUBLE_EQ(bare.loopStartUs, 980000) << "a period before the first arrival";
    const Trace withTruth =
        Read("# tick_frequency = 1e6\n# by hand\n1000,0,10\n21000,20000,20010\n");
    EXPECT_TRUE(withTruth.hasTruth);
    EXPECT_DOUBLE_EQ(withTruth.fps, 50);
    EXPECT_EQ(withTruth.frames[1].truthUs, 20010);
}

TEST(Trace, OfKvgrabHasDroppedFramesThatArePassedOver)
{
    const Trace read =
        Read("arrival_us,camera_ticks,frame,received,resent,missing,dropped,lost,no_buffer\n"
             "1000,0,7,5,0,0,,0,0\n21000,20000000,8,4,0,1,packets missing,0,0\n"
             "41000,40000000,9,5,0,0,,0,0\n");
    ASSERT_EQ(read.frames.size(), 2U);
    EXPECT_EQ(read.frames[1].ticks, 40000000U);
    EXPECT_THAT(Refusal("arrival_us,camera_ticks,frame,received,resent,missing,dropped,lost,"
                        "no_buffer\n1000,0,7,5,0,0,,0,0\n21000,x,8,4,0,1,,0,0\n"),
                HasSubstr("line 3"));
}

TEST(Trace, RefusalsNameTheLine)
{
    EXPECT_THAT(Refusal("1,2\n3\n"), HasSubstr("line 2: '3' is neither"));
    EXPECT_THAT(Refusal("arrival_us,camera_ticks\n1,2,3\n"), HasSubstr("line 2"));
    EXPECT_THAT(Refusal("time,ticks\n"), HasSubstr("line 1"));
    EXPECT_THAT(Refusal("# fps = fast\n"), HasSubstr("line 1"));
    EXPECT_THAT(Refusal("nan,2\n"), HasSubstr("line 1"));
    EXPECT_THAT(Refusal("1,2\n"), HasSubstr("two frames"));
    EXPECT_THAT(Refusal("1,2\n2,2\n"), HasSubstr("the rate"));
}

TEST(Trace, WithoutTruthIsPlayedAcrossAWrap)
{
    Recipe recipe;
    recipe.tickBits = 32;
    Trace trace = MakeTrace(recipe);
    const Report truth = Evaluate(Play(trace, 50000));
    trace.hasTruth = false;
    FitTruth(&trace);
    const Report fitted = Evaluate(Play(trace, 50000));
    EXPECT_NEAR(fitted.withoutOffset.most, truth.withoutOffset.most, 2);
    const double shortestDelayUs = recipe.exposureUs + recipe.transferUs;
    EXPECT_NEAR(truth.offsetUs - fitted.offsetUs, shortestDelayUs, 5);
}
