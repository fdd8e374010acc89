#include "tests/support/rig.h"
#include "tests/support/story.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::Contains;

/** The values that the profiler printed after a heading. */
static std::vector<int> Ring(const char* heading)
{
    const Texts logs = Between(Rig::Logs("_t_PrintProfiler"), heading, "19. ");
    std::vector<int> values;
    for (std::size_t i = 1; i < logs.size(); ++i) {
        unsigned index = 0;
        int value = 0;
        EXPECT_EQ(sscanf(logs[i].c_str(), "3 _t_PrintProfiler: %u. %6d us", &index, &value), 2);
        EXPECT_EQ(index, i - 1);
        values.push_back(value);
    }
    return values;
}

TEST(Profile, TwentyWaitsAndTriggersInStorageOrder)
{
    Rig rig;
    rig.Open();
    rig.host.fnum = 22;
    int trigger = 0;
    rig.host.onCall = [&](std::string_view service) {
        if (service == "KvGiMemInst__Trigger") {
            rig.time.AdvanceUs(++trigger); // the n-th takes n microseconds
        }
        if (service == "KvGi__SetTermSigProc") {
            rig.time.AdvanceUs(500'000); // the end of the loop has been noted before this
        }
    };
    rig.host.onLog = [&](std::string_view format) {
        if (format == "****** stopping capture ******") {
            rig.time.AdvanceUs(4'000'000); // but not before this
        }
    };
    EXPECT_EQ(rig.Loop(), 0);
    const Texts logs = Rig::Logs("_t_PrintProfiler");
    ASSERT_EQ(logs.size(), 43U);
    EXPECT_EQ(logs[0], "3 _t_PrintProfiler: Profiling info for RetrieveBuffer() (sleeping is "
                       "accounted), currPos=2");
    EXPECT_EQ(logs[21], "3 _t_PrintProfiler: Profiling info for file writing (buffered), "
                        "currPos=1");
    EXPECT_EQ(logs[22], "3 _t_PrintProfiler: 0. 000021 us");
    const std::vector<int> writes = Ring("file writing");
    ASSERT_EQ(writes.size(), 20U);
    EXPECT_EQ(writes[1], 2);
    EXPECT_EQ(writes[19], 20);
    const std::vector<int> waits = Ring("RetrieveBuffer");
    EXPECT_EQ(waits[0], 33'333 - 19) << "the twenty-first, shorter by the trigger before it";
    EXPECT_EQ(waits[2], 33'333 - 1);
    EXPECT_EQ(logs[42], "3 _t_PrintProfiler: Actual grabbing loop took: 4s 710288us");
}

TEST(Profile, RingsLastFromLoopToLoopAndFullOnesStandAtZero)
{
    Rig rig;
    rig.Open();
    rig.host.fnum = 20;
    EXPECT_EQ(rig.Loop(), 0);
    EXPECT_THAT(Rig::Logs(), Contains("3 _t_PrintProfiler: Profiling info for RetrieveBuffer() "
                                      "(sleeping is accounted), currPos=0"));
    Rig::Clear();
    rig.host.fnum = 1;
    EXPECT_EQ(rig.Loop(), 0);
    EXPECT_EQ(Ring("RetrieveBuffer")[5], 33'333) << "of the loop before";
    EXPECT_THAT(Rig::Logs(), Contains("3 _t_PrintProfiler: Profiling info for RetrieveBuffer() "
                                      "(sleeping is accounted), currPos=1"));
}

TEST(Rate, CountsRoundsWithoutAFrameToo)
{
    // A round a second without a frame but in the last; the report comes in the 61st:
    //      11 s: round 1 (start)   ...   70 s: round 60   71 s: round 61, 60 of them in 60 s
    Rig rig(Having({{"AcquisitionFrameRate", "1"}}));
    rig.Open();
    rig.host.fnum = 1;
    sim::AddFault(FrameFault(sim::Effect::Lose, 1, 61));
    EXPECT_EQ(rig.Loop(), 0);
    EXPECT_EQ(rig.host.haltUpdates, 61U);
    EXPECT_EQ(Count(Rig::Of("log4"), "kv_td_proc:ProcLoop: retres FPS: 1"), 1U);
}

TEST(Rate, IsReportedOnceAMinute)
{
    Rig rig;
    rig.Open();
    rig.host.fnum = 30 * 125;
    EXPECT_EQ(rig.Loop(), 0);
    EXPECT_THAT(Rig::Logs(), Contains("4 ProcLoop: retres FPS: 30"));
    EXPECT_EQ(Count(Rig::Logs(), "retres FPS: 30"), 2U);
}

// ---- time budgets ------------------------------------------------------------------------------

TEST(Budget, SlowStepsExceedTheirOwnAndThoseAroundThem)
{
    struct Case {
        const char* service; ///< host call that takes its time in the second round
        std::int64_t us;
        bool clockSetBack = false; ///< instead: the wall clock is set back by so much
    };
    Texts story;
    for (const Case& c : {Case{"KvGiMemInst__Trigger", 33'333},
                          {"KvGiMemInst__Trigger", 33'332},
                          {"KvGiMemInst__Trigger", 2'000'100}, // whole seconds are left out
                          {"KvSc__ProcExport", 40'000},
                          {"KvGi__CheckDynConfig", 40'000},
                          {"KvUtl__UpdateGrabState", 40'000}, // the first frame has no stamp yet
                          {"KvSc__ProcExport", 1, true}}) {
        Rig rig;
        rig.Open();
        rig.host.fnum = 2;
        int calls = 0;
        rig.host.onCall = [&](std::string_view service) {
            if (service == c.service && ++calls == (service == "KvGi__CheckDynConfig" ? 2 : 1)) {
                rig.time.AdvanceUs(c.clockSetBack ? 0 : c.us);
                rig.time.wallStepUs = c.clockSetBack ? -c.us : 0;
            }
        };
        EXPECT_EQ(rig.Loop(), 0);
        Texts lines = Rig::Logs("ProcLoop");
        std::erase_if(lines, [](const std::string& line) {
            return line.find("time budget is over") == std::string::npos;
        });
        Append(story,
               std::string(c.service) + (c.clockSetBack ? ", clock set back by " : ", ") +
                   std::to_string(c.us) + " us",
               lines);
    }
    EXPECT_TRUE(IsStory("time_budgets", story));
}
