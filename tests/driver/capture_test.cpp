#include "tests/support/rig.h"
#include "tests/support/story.h"

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
    rig.Open();
    rig.StartTransfer();
    CaptureStdout();
    for (const int frames : {0, -5, -1, 7}) {
        EXPECT_EQ(rig.Cam().ExStopCapture(), 0);
        EXPECT_EQ(rig.Cam().ExStartCapture(frames), 0);
    }
    fflush(stdout);
    EXPECT_EQ(GetCapturedStdout(), "");
    EXPECT_TRUE(IsStory("capture", Rig::Of({"gev", "log"})));
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
