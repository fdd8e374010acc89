#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/** One frame a second, so that a round takes the whole wait. */
static sim::CameraSetup SlowCamera()
{
    sim::CameraSetup setup = SmallCamera();
    setup.values = {{"AcquisitionFrameRate", "1"}};
    return setup;
}

/** Without what the profiler prints. */
static Texts WithoutProfile(Texts texts)
{
    std::erase_if(texts, [](const std::string& text) {
        return text.find("_t_PrintProfiler") != std::string::npos ||
               text.find("TimeValDiff") != std::string::npos;
    });
    return texts;
}

// ---- missed frames -----------------------------------------------------------------------------

struct MissedCase {
    const char* name;
    sim::Effect effect;
    const char* wait;
    bool released;
};

class Missed : public testing::TestWithParam<MissedCase>
{
};

TEST_P(Missed, IsReportedAndReleased)
{
    const MissedCase& c = GetParam();
    Rig rig(SlowCamera());
    rig.Open();
    rig.host.fnum = 2;
    rig.host.signals = {0, 1}; // the second comes with the missed frame and is lost with it
    sim::AddFault(FrameFault(c.effect, 2));
    EXPECT_EQ(rig.Loop(), 0);
    const Texts all = Rig::Of({"gev", "host", "log", "read"});
    const auto second = Between(Between(all, "GevReleaseFrame", "never"), "GevWait", "GevWait");
    Texts expected = {std::string("gev GevWaitForNextFrame(1000)=") + c.wait,
                      "host KvUtl__TimeValDiff()",
                      "host KvUtl__CheckSignal()",
                      "read DeviceTemperatureSelector=Internal",
                      "read DeviceTemperature=",
                      "host KvGi__HaltUpdate(64, 48, 41.5)"};
    if (c.released) {
        expected.emplace_back("gev GevReleaseFrame()=0");
    }
    expected.emplace_back("gev GevWaitForNextFrame(1000)=");
    ASSERT_EQ(second.size(), expected.size()) << testing::PrintToString(second);
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_THAT(second[i], testing::StartsWith(expected[i]));
    }
    EXPECT_EQ(Count(Rig::Of("host"), "SetSignalAction"), 0U);
    EXPECT_THAT(Rig::Logs(), Contains(HasSubstr("(captured 2 frames of ")));
    EXPECT_EQ(Count(Rig::Of("host"), "KvSc__SetParamVal(10, "), 2U) << "good frames only";
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, Missed,
    testing::Values(MissedCase{"TimeOut", sim::Effect::Lose, "-6", false},
                    MissedCase{"NullFrame", sim::Effect::NullFrame, "0", false},
                    MissedCase{"NullImage", sim::Effect::NullImage, "0", true},
                    MissedCase{"Incomplete", sim::Effect::Incomplete, "-7", true}),
    [](const auto& it) { return std::string(it.param.name); });

TEST(Drops, FiveThousandInARowEndTheLoop)
{
    Rig rig(SlowCamera());
    rig.Open();
    sim::AddFault(FrameFault(sim::Effect::Lose, 1, 0));
    EXPECT_EQ(rig.Loop(), kExitGrabbing);
    EXPECT_EQ(rig.host.haltUpdates, 5000U);
    Texts told = WithoutProfile(Between(Rig::Of({"log1", "log2", "log3", "gev", "host"}),
                                        "Frames Drop trigger: Loop_5000", "never"));
    EXPECT_EQ(Story(told), R"(
log2 kv_td_proc:ProcLoop: Frames Drop trigger: Loop_5000(ok_0 dropCntr_5000)
log2 kv_td_proc:ProcLoop: error description: 0xFFFFFFFA
log3 kv_td_excam:ExStopCapture: ****** stopping capture ******
gev GevAbortTransfer()=0
host KvGi__SetTermSigProc()
gev GevFreeTransfer()=0
log3 kv_td_proc:ProcLoop: ...GRABBING IS DONE (captured 0 frames of 5000 loops)
log3 kv_td_proc:ProcLoop: grabbing loop is completed with exitCode =4294967286
)");
    EXPECT_EQ(Count(Rig::Logs(), "Frames Drop trigger"), 5U);
}

TEST(Drops, OneGoodFrameInTheLastThousandKeepsTheLoopGoing)
{
    // Compared since the last thousand only: a frame among the first four thousand does not count.
    Rig rig(SlowCamera());
    rig.Open();
    sim::AddFault(FrameFault(sim::Effect::Lose, 1, 4500));
    sim::AddFault(FrameFault(sim::Effect::Lose, 4502, 0));
    EXPECT_EQ(rig.Loop(), kExitGrabbing);
    EXPECT_EQ(rig.host.haltUpdates, 10'000U);
    EXPECT_THAT(Rig::Logs(), Contains("2 ProcLoop: Frames Drop trigger: Loop_5001(ok_1 "
                                      "dropCntr_5000)"));
    EXPECT_EQ(Count(Rig::Logs(), "error description: 0xFFFFFFFA"), 2U);

    Rig early(SlowCamera());
    early.Open();
    sim::AddFault(FrameFault(sim::Effect::Lose, 1, 500));
    sim::AddFault(FrameFault(sim::Effect::Lose, 502, 0));
    EXPECT_EQ(early.Loop(), kExitGrabbing);
    EXPECT_EQ(early.host.haltUpdates, 5000U);
}

TEST(Drops, DeadTransferShowsAsDrops)
{
    struct Case {
        int factoryUsed;
        std::uint32_t buffers;
    };
    for (const Case& c : {Case{0, 4}, Case{1, 1}}) {
        Rig rig(SlowCamera());
        rig.Open();
        rig.host.factoryUsed = c.factoryUsed;
        rig.host.bnum = c.buffers;
        testing::internal::CaptureStdout();
        EXPECT_EQ(rig.Loop(), kExitGrabbing);
        fflush(stdout);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Error starting grab - 0xfffffffb  or -5\n"
                  "Error stopping grab - 0xfffffffb  or -5\n");
        EXPECT_EQ(rig.host.haltUpdates, 5000U);
        EXPECT_EQ(Count(Rig::Of("gev"), "GevInitializeTransfer"), 0U);
        EXPECT_EQ(Count(Rig::Of("host"), "GetBufPtr"), c.factoryUsed == 0 ? 0U : 1U);
    }
}

// ---- ends before the first round ---------------------------------------------------------------

TEST(LoopEnd, UnusableBuffersGiveMinusOne)
{
    Rig rig;
    rig.host.bufferAt = [](std::uint32_t) -> void* { return nullptr; };
    EXPECT_EQ(Rig::Run(), kExitBuffers);
    EXPECT_THAT(Rig::Logs(),
                Contains("2 ProcLoop: SetUserBuffers error (bufferFrameSize 3328, bNum "
                         "4)"));
    EXPECT_EQ(Count(Rig::Of("gev"), "Transfer"), 0U);
    EXPECT_EQ(Count(Rig::Logs(), "Restore some changed"), 0U);
}

TEST(LoopEnd, RefusedFormatGivesMinusTwo)
{
    Rig rig;
    rig.Open();
    rig.host.format = 7;
    EXPECT_EQ(rig.Loop(), kExitConfiguration);
    EXPECT_EQ(Rig::Logs().back(), "1 ProcLoop: Device configuration error, finish loop");
    EXPECT_EQ(Count(Rig::Of("host"), "SetBnum"), 0U);
}

// ---- exceptions --------------------------------------------------------------------------------

TEST(LoopEnd, ExceptionInARoundRunsItsHandler)
{
    // The exposure is read once at set-up and once per frame.
    Rig rig;
    rig.Open();
    rig.host.fnum = 9;
    sim::AddFault(AccessThrows(sim::Trigger::Read, "ExposureTime", sim::ExceptionKind::Timeout, 4));
    rig.host.onLog = [&](std::string_view format) {
        if (format == "grabbing is stopped") {
            rig.time.AdvanceUs(7'000'000);
        }
    };
    EXPECT_EQ(rig.Loop(), kExitGrabbing);
    EXPECT_EQ(Story(WithoutProfile(Between(Rig::Of({"log", "gev", "host"}), "log1 ", "never"))), R"(
log1 kv_td_proc:ProcLoop:  Origin grabbing loop - GenApi: Timeout Exception scripted fault
log2 kv_td_proc:ProcLoop: An unhandled exception occured: libError = -6
log3 kv_td_proc:ProcLoop: grabbing is stopped
host KvGi__SetTermSigProc()
gev GevFreeTransfer()=0
log3 kv_td_proc:ProcLoop: ...GRABBING IS DONE (captured 3 frames of 3 loops)
)");
    EXPECT_EQ(Count(Rig::Logs(), "Actual grabbing loop took: 7s"), 1U);
    EXPECT_EQ(rig.proc.chunkMask, 15U) << "the chunks stay on";
}

TEST(LoopEnd, DetachedCameraEndsItByATimeout)
{
    Rig rig;
    rig.host.fnum = 9;
    sim::AddFault(FrameFault(sim::Effect::Detach, 3));
    EXPECT_EQ(Rig::Run(), kExitGrabbing);
    EXPECT_THAT(Rig::Logs(),
                Contains(HasSubstr("Origin grabbing loop - GenApi: Timeout Exception")));
    EXPECT_EQ(Rig::Run(), kExitNoDevice);
}

/** The chunk mode is switched on at set-up and off at the end of the loop, where it fails here. */
static void FailTheRestore(Rig& rig)
{
    rig.host.fnum = 2;
    sim::AddFault(
        AccessThrows(sim::Trigger::Write, "ChunkModeActive", sim::ExceptionKind::LogicalError, 2));
}

TEST(Chunks, RestoreWithoutANodeEndsTheLoop)
{
    Rig rig;
    rig.Open();
    FailTheRestore(rig);
    EXPECT_EQ(rig.Loop(), kExitGrabbing) << "though all frames were grabbed";
    EXPECT_EQ(rig.proc.chunkMask, 15U);
    EXPECT_EQ(Count(Rig::Logs(), "Camera config restore is done"), 0U);
    EXPECT_EQ(Count(Rig::Logs(), "grabbing loop is completed"), 0U);
    EXPECT_THAT(Rig::Logs(), Contains("1 ProcLoop:  Origin grabbing loop - GenApi: Logical Error "
                                      "Exception scripted fault"));
}

TEST(LoopEnd, ExceptionAfterTheRoundsFreesTheTransferOnce)
{
    Rig rig;
    rig.Open();
    FailTheRestore(rig);
    EXPECT_EQ(rig.Loop(), kExitGrabbing);
    EXPECT_EQ(Count(Rig::Of("gev"), "GevFreeTransfer"), 1U);
    EXPECT_EQ(Count(Rig::Of("host"), "KvGi__SetTermSigProc"), 2U) << "the handler runs in full";
    EXPECT_EQ(Count(Rig::Logs(), "GRABBING IS DONE (captured 2 frames of 2 loops)"), 2U);
    EXPECT_EQ(Count(Rig::Logs(), "Actual grabbing loop took"), 1U);
}
