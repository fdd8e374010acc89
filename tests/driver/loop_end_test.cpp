#include "tests/support/rig.h"
#include "tests/support/story.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::Contains;
using testing::HasSubstr;

/** One frame a second, so that a round takes the whole wait. */
static sim::CameraSetup SlowCamera()
{
    return Having({{"AcquisitionFrameRate", "1"}});
}

// ---- missed frames -----------------------------------------------------------------------------

TEST(Missed, IsReportedAndReleased)
{
    Texts story;
    for (const auto& [name, effect] : {std::pair{"time-out", sim::Effect::Lose},
                                       {"null frame", sim::Effect::NullFrame},
                                       {"null image", sim::Effect::NullImage},
                                       {"incomplete", sim::Effect::Incomplete}}) {
        Rig rig(SlowCamera());
        rig.Open();
        rig.host.fnum = 2;
        rig.host.signals = {0, 1}; // the second comes with the missed frame and is lost with it
        sim::AddFault(FrameFault(effect, 2));
        EXPECT_EQ(rig.Loop(), 0);
        const Texts all = Rig::Of({"gev", "host", "log", "read"});
        Append(story, name,
               Between(Between(all, "GevReleaseFrame", "never"), "GevWait", "GevWait"));
        EXPECT_EQ(Count(Rig::Of("host"), "SetSignalAction"), 0U);
        EXPECT_THAT(Rig::Logs(), Contains(HasSubstr("(captured 2 frames of ")));
        EXPECT_EQ(Count(Rig::Of("host"), "KvSc__SetParamVal(10, "), 2U) << "good frames only";
    }
    EXPECT_TRUE(IsStory("missed_frames", Masked(story)));
}

TEST(Drops, OneGoodFrameInTheLastThousandKeepsTheLoopGoing)
{
    // Compared since the last thousand only: a frame among the first four thousand does not count.
    for (const auto& [lost, rounds, ends] : {std::tuple{4500U, 10'000U, 2U}, {500U, 5000U, 1U}}) {
        Rig rig(SlowCamera());
        rig.Open();
        sim::AddFault(FrameFault(sim::Effect::Lose, 1, lost));
        sim::AddFault(FrameFault(sim::Effect::Lose, lost + 2, 0));
        EXPECT_EQ(rig.Loop(), kExitGrabbing);
        EXPECT_EQ(rig.host.haltUpdates, rounds);
        EXPECT_THAT(Rig::Logs(), Contains("2 ProcLoop: Frames Drop trigger: Loop_5001(ok_1 "
                                          "dropCntr_5000)"));
        EXPECT_EQ(Count(Rig::Logs(), "error description: 0xFFFFFFFA"), ends);
        EXPECT_EQ(Count(Rig::Logs(), "Frames Drop trigger"), rounds / 1000);
    }
}

TEST(Drops, DeadTransferShowsAsDrops)
{
    for (const auto& [factoryUsed, buffers] : {std::pair{0, 4U}, {1, 1U}}) {
        Rig rig(SlowCamera());
        rig.Open();
        rig.host.factoryUsed = factoryUsed;
        rig.host.bnum = buffers;
        testing::internal::CaptureStdout();
        EXPECT_EQ(rig.Loop(), kExitGrabbing);
        fflush(stdout);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Error starting grab - 0xfffffffb  or -5\n"
                  "Error stopping grab - 0xfffffffb  or -5\n");
        EXPECT_EQ(rig.host.haltUpdates, 5000U);
        EXPECT_EQ(Count(Rig::Of("gev"), "GevInitializeTransfer"), 0U);
        EXPECT_EQ(Count(Rig::Of("host"), "GetBufPtr"), factoryUsed == 0 ? 0U : 1U);
    }
}

// ---- ends of a loop ----------------------------------------------------------------------------

struct EndCase {
    const char* name; ///< what ends it
    int result;
    void (*prepare)(Rig& rig);
    const char* from; ///< the first text that is compared
    std::uint32_t chunkMask;
};

static const EndCase kEnds[] = {
    {"five thousand drops", kExitGrabbing,
     [](Rig&) { sim::AddFault(FrameFault(sim::Effect::Lose, 1, 0)); },
     "Frames Drop trigger: Loop_5000", 15},
    {"unusable buffers", kExitBuffers,
     [](Rig& rig) { rig.host.bufferAt = [](std::uint32_t) -> void* { return nullptr; }; },
     "GetCformat", 15},
    {"a refused format", kExitConfiguration, [](Rig& rig) { rig.host.format = 7; }, "GetFormat", 0},
    {"an exception at set-up", kExitConfiguration,
     [](Rig&) { sim::AddFault(AccessThrows(sim::Trigger::Write, "ChunkModeActive")); },
     "Configuring chunks", 0},
    // The exposure is read once at set-up and once per frame. The loop's end is noted after seven
    // seconds more and before the half one.
    {"an exception in a round", kExitGrabbing,
     [](Rig& rig) {
         sim::AddFault(
             AccessThrows(sim::Trigger::Read, "ExposureTime", sim::ExceptionKind::Timeout, 4));
         rig.host.onLog = [&rig](std::string_view format) {
             rig.time.AdvanceUs(format == "grabbing is stopped" ? 7'000'000 : 0);
         };
         rig.host.onCall = [&rig](std::string_view service) {
             rig.time.AdvanceUs(service == "KvGi__SetTermSigProc" ? 500'000 : 0);
         };
     },
     "Exception", 15},
    {"a detached camera", kExitGrabbing,
     [](Rig&) { sim::AddFault(FrameFault(sim::Effect::Detach, 3)); }, "Exception", 15},
    // Switched on at set-up, the chunk mode is switched off at the end.
    {"an exception at the restore", kExitGrabbing,
     [](Rig& rig) {
         rig.host.fnum = 2;
         sim::AddFault(AccessThrows(sim::Trigger::Write, "ChunkModeActive",
                                    sim::ExceptionKind::LogicalError, 2));
     },
     "stopping capture", 15},
    {"a reconfiguration that fails hard", kExitReconfigFailed,
     [](Rig& rig) {
         rig.host.signals = {0, 2};
         rig.host.reconfigResult = -1;
         rig.host.reconfigFlag = 1;
     },
     "DoReconfig", 15},
};

TEST(LoopEnd, EachTellsItsStory)
{
    Texts story;
    for (const EndCase& c : kEnds) {
        SCOPED_TRACE(c.name);
        Rig rig(SlowCamera());
        rig.Open();
        rig.host.fnum = 9;
        c.prepare(rig);
        EXPECT_EQ(rig.Loop(), c.result);
        EXPECT_EQ(rig.proc.chunkMask, c.chunkMask);
        Texts texts = Between(Rig::Of({"log", "gev", "host"}), c.from, "never");
        std::erase_if(texts, [](const std::string& text) { // waits and triggers
            return text.find(" us") != std::string::npos || text.find("BufPtr") != text.npos ||
                   text.find("Profiling info") != text.npos;
        });
        Append(story, c.name, Masked(texts));
    }
    EXPECT_TRUE(IsStory("loop_ends", story));
}
