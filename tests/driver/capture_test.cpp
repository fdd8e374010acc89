#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::ElementsAre;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

TEST(Capture, StartAsksForFramesOrForEver)
{
    Rig rig;
    CExCam& cam = rig.Open();
    std::uint8_t memory[2][4096];
    void* buffers[] = {memory[0], memory[1]};
    GevInitializeTransfer(rig.handle, 1, sizeof memory[0], 2, buffers);
    Rig::Clear();
    CaptureStdout();
    for (const int frames : {0, -5, -1, 7}) {
        EXPECT_EQ(cam.ExStartCapture(frames), 0);
        EXPECT_EQ(cam.ExStopCapture(), 0);
    }
    fflush(stdout);
    EXPECT_EQ(GetCapturedStdout(), "");
    EXPECT_EQ(Story(Rig::Of("gev")), R"(
GevStartTransfer(-1)=0
GevAbortTransfer()=0
GevStartTransfer(-1)=0
GevAbortTransfer()=0
GevStartTransfer(-1)=0
GevAbortTransfer()=0
GevStartTransfer(7)=0
GevAbortTransfer()=0
)");
    EXPECT_EQ(Count(Rig::Logs(), "3 ExStartCapture: ****** starting capture ******"), 4U);
    EXPECT_EQ(Count(Rig::Logs(), "3 ExStopCapture: ****** stopping capture ******"), 4U);
}

TEST(Capture, RefusedStartIsPrintedAndGivesZero)
{
    Rig rig;
    CExCam& cam = rig.Open();
    sim::AddFault(CallFails("GevStartTransfer", -5));
    sim::AddFault(CallFails("GevAbortTransfer", 18));
    CaptureStdout();
    EXPECT_EQ(cam.ExStartCapture(-1), 0);
    EXPECT_EQ(cam.ExStopCapture(), 0);
    fflush(stdout);
    EXPECT_EQ(GetCapturedStdout(), "Error starting grab - 0xfffffffb  or -5\n"
                                   "Error stopping grab - 0x12  or 18\n");
    EXPECT_EQ(Rig::Logs().size(), 2U) << "not through the log";
}

TEST(Capture, WithoutACameraNothingIsCalled)
{
    Rig rig;
    CExCam& cam = rig.Open();
    cam.camHandle = nullptr;
    EXPECT_EQ(cam.ExStartCapture(1), -1);
    EXPECT_EQ(cam.ExStopCapture(), -1);
    EXPECT_THAT(Rig::Of({"log", "gev"}),
                ElementsAre("log2 kv_td_excam:ExStartCapture: Can't get contexts to start capture",
                            "log2 kv_td_excam:ExStopCapture: Can't get contexts to stop capture"));
}
