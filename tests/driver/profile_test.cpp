#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

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
            rig.time.AdvanceUs(500'000); // the loop is over by then
        }
    };
    rig.host.onLog = [&](std::string_view format) {
        if (format == "****** stopping capture ******") {
            rig.time.AdvanceUs(4'000'000); // and not yet here
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
    sim::CameraSetup setup = SmallCamera();
    setup.values = {{"AcquisitionFrameRate", "1"}};
    Rig rig(setup);
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

/** The session's budget lines when one host call takes its time in the second round. */
static Texts BudgetLines(const char* slowService, std::int64_t us)
{
    Rig rig;
    rig.Open();
    rig.host.fnum = 2;
    int calls = 0;
    rig.host.onCall = [&](std::string_view service) {
        if (service == slowService && ++calls == (service == "KvGi__CheckDynConfig" ? 2 : 1)) {
            rig.time.AdvanceUs(us);
        }
    };
    EXPECT_EQ(rig.Loop(), 0);
    Texts lines = Rig::Logs("ProcLoop");
    std::erase_if(lines, [](const std::string& line) {
        return line.find("time budget is over") == std::string::npos;
    });
    return lines;
}

TEST(Budget, SlowTriggerExceedsAllThree)
{
    EXPECT_THAT(BudgetLines("KvGiMemInst__Trigger", 33'333),
                ElementsAre("2 ProcLoop: Loop_2(2): Frame 1000000010033338 export time budget is "
                            "over (33333us >= 33333us)",
                            "3 ProcLoop: Loop_2(2): Scene 1000000010033338 export time budget is "
                            "over (33333us >= 33333us)",
                            "3 ProcLoop: total time budget is over (33333us >= 33333us), frame "
                            "1000000010033338"));
    EXPECT_THAT(BudgetLines("KvGiMemInst__Trigger", 33'332), IsEmpty());
}

TEST(Budget, TriggersTimeLeavesOutWholeSeconds)
{
    EXPECT_THAT(BudgetLines("KvGiMemInst__Trigger", 2'000'100),
                ElementsAre("3 ProcLoop: Loop_2(2): Scene 1000000010033338 export time budget is "
                            "over (2000100us >= 33333us)",
                            "3 ProcLoop: total time budget is over (2000100us >= 33333us), frame "
                            "1000000010033338"));
}

TEST(Budget, SlowExportAndSlowSignalsExceedTheirOwn)
{
    EXPECT_THAT(BudgetLines("KvSc__ProcExport", 40'000),
                ElementsAre("3 ProcLoop: Loop_2(2): Scene 1000000010033338 export time budget is "
                            "over (40000us >= 33333us)",
                            "3 ProcLoop: total time budget is over (40000us >= 33333us), frame "
                            "1000000010033338"));
    EXPECT_THAT(BudgetLines("KvGi__CheckDynConfig", 40'000),
                ElementsAre("3 ProcLoop: total time budget is over (40000us >= 33333us), frame "
                            "1000000010033338"));
}

TEST(Budget, FirstFrameHasNoStampYet)
{
    EXPECT_THAT(BudgetLines("KvUtl__UpdateGrabState", 40'000),
                ElementsAre("3 ProcLoop: total time budget is over (40000us >= 33333us), frame 0"));
}

TEST(Budget, ClockSetBackCountsAsAVeryLongTime)
{
    Rig rig;
    rig.Open();
    rig.host.fnum = 2;
    rig.host.onCall = [&](std::string_view service) {
        if (service == "KvSc__ProcExport") {
            rig.time.wallStepUs = -1;
        }
    };
    EXPECT_EQ(rig.Loop(), 0);
    EXPECT_THAT(Rig::Logs(), Contains("3 ProcLoop: Loop_2(2): Scene 1000000010033338 export time "
                                      "budget is over (4294967295us >= 33333us)"));
}
