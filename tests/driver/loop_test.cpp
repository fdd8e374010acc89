#include "kv_td_factory.h"
#include "tests/support/rig.h"
#include "tests/support/story.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

using namespace KvTd;
using namespace rig;
using testing::Contains;
using testing::ElementsAre;

/** The journal from the n-th wait for a frame up to the one after it. */
static Texts Round(std::size_t number, std::initializer_list<std::string_view> kinds)
{
    Texts round;
    std::size_t waits = 0;
    for (const std::string& text : Rig::Of(kinds)) {
        waits += text.find("GevWaitForNextFrame") != std::string::npos ? 1 : 0;
        if (waits == number) {
            round.push_back(text);
        }
    }
    return round;
}

TEST(Session, EntrySetsOptionsAndRunsTheLoop)
{
    for (const auto& [asked, used] : {std::pair{9180, 9180}, {9181, 1500}, {1400, 1400}}) {
        Rig rig;
        CExCam& cam = rig.Open();
        GEV_CAMERA_OPTIONS expected{};
        GevGetCameraInterfaceOptions(rig.handle, &expected);
        expected.heartbeatTimeoutMs = 5000;
        expected.streamPacketSize = static_cast<std::uint32_t>(used);
        expected.streamPacketDelay = 10;
        expected.streamFramesBuffered = 4;
        expected.streamMemoryLimit = 67108864;
        expected.streamFrameTimeoutMs = 1001;
        rig.host.datachunk = asked;
        rig.host.fnum = 1;
        Rig::Clear();
        EXPECT_EQ(KvTdProc(&cam), 0);
        EXPECT_TRUE(IsStory("session_start",
                            Between(Rig::Of({"log", "host", "gev"}), "KvTdProc entry", "GetBnum")));
        EXPECT_EQ(Rig::Logs().back(), "3 KvTdProc: scenario is completed (rc = 0)");
        GEV_CAMERA_OPTIONS set{};
        GevGetCameraInterfaceOptions(rig.handle, &set);
        EXPECT_EQ(std::memcmp(&set, &expected, sizeof set), 0) << "the others stay";
    }
}

TEST(Session, RefusedOptionsAreOnlyWarnedOf)
{
    Rig rig;
    rig.host.datachunk = -1; // compared as a signed number, so it stays
    rig.host.fnum = 1;
    sim::AddFault(CallFails("GevSetCameraInterfaceOptions"));
    EXPECT_EQ(Rig::Run(), 0);
    EXPECT_THAT(Rig::Logs("_t_set_data_chunk"),
                ElementsAre("2 _t_set_data_chunk: Can't configure packet options (packet size "
                            "4294967295)"));
}

TEST(Loop, ThreeFramesFromStartToEnd)
{
    // The loop starts at 10 s. A frame arrives 10 267 us after its exposure began, the first of
    // which begins at 10 s too. The first is stamped but not exported, the last not released.
    Rig rig;
    rig.Open();
    rig.host.fnum = 3;
    EXPECT_EQ(rig.Loop(), 0);
    Texts story = Between(Rig::Of({"log", "host", "gev", "cam", "read", "mode"}),
                          "...initial configuration is applied", "never");
    std::erase_if(story, [](const std::string& text) {
        return text.find("_t_PrintProfiler: ") != std::string::npos;
    });
    EXPECT_TRUE(IsStory("loop_three_frames", Masked(story)));
    EXPECT_EQ(rig.proc.currImage, rig.host.BufferAt(2));
    EXPECT_EQ(rig.proc.pendingFrame, nullptr);
}

TEST(Loop, StopRequestWinsOverTheFrameCount)
{
    for (const std::uint32_t count : {2U, 0U}) {
        Rig rig;
        rig.Open();
        rig.host.fnum = count;
        rig.host.signals = {0, 5};
        EXPECT_EQ(rig.Loop(), 0);
        EXPECT_EQ(Count(Rig::Of("gev"), "GevAbortTransfer"), 1U);
        EXPECT_EQ(Count(Rig::Of("host"), "SetSignalAction(5)"), 1U);
        EXPECT_EQ(Count(Rig::Of("host"), "SetNewCfgVendor"), count == 0 ? 1U : 2U)
            << "once for the count that was set";
        EXPECT_EQ(Count(Rig::Of("gev"), "GevReleaseFrame"), 1U) << "not the frame of the request";
    }
}

TEST(Loop, BitDepthSwitchRunsItAgainWithoutResettingTheStates)
{
    Rig rig;
    rig.Open();
    rig.host.signals = {0, 4};
    rig.proc.usrSignalPending = 9; // of an earlier session: cleared before the first run
    rig.proc.reconfigState = 7;
    rig.host.onCall = [&](std::string_view service) {
        if (service != "KvGiMem__Init") {
            return;
        }
        const bool again = rig.host.format == kFormatMono12Packed;
        EXPECT_EQ(rig.proc.reconfigState, again ? 6 : 0);
        EXPECT_EQ(rig.proc.usrSignalPending, again ? 1U : 0U);
        if (again) { // stands in for the dynamic LUT: the second run ends with the state cleared
            rig.proc.reconfigState = 0;
            rig.host.fnum = 1;
            rig.host.signals = {1};
        }
    };
    EXPECT_EQ(rig.proc.ProcOnce(&rig.Cam(), &kvBufFactory), 0);
    EXPECT_EQ(rig.proc.loopRuns, 2U);
    EXPECT_EQ(rig.proc.dataBits, 12);
}

TEST(Loop, GrabStateIsReportedAtTheStartAndThenByTheRate)
{
    Rig rig(Having({{"AcquisitionFrameRate", "10"}}));
    rig.Open();
    rig.host.fnum = 13;
    EXPECT_EQ(rig.Loop(), 0);
    std::vector<std::size_t> reported;
    for (std::size_t i = 1; i <= 13; ++i) {
        if (Count(Round(i, {"host", "gev"}), "UpdateGrabState(4)") == 1) {
            reported.push_back(i);
        }
    }
    EXPECT_THAT(reported, ElementsAre(1, 7, 13));
}

TEST(Loop, RefusedFrameIsNotExported)
{
    Rig rig;
    rig.Open();
    rig.host.fnum = 3;
    rig.host.triggerResults = {1, 0};
    rig.Cam().gpioInputEvent = 3; // the input of the refused frame goes with the next
    rig.Cam().gpioInputValue = 7;
    EXPECT_EQ(rig.Loop(), 0);
    Texts story;
    Append(story, "refused", Between(Round(2, {"host", "gev"}), "Trigger(0", "CommTrigger"));
    Append(story, "accepted", Between(Round(3, {"host", "gev"}), "Trigger(0", "CommTrigger"));
    EXPECT_TRUE(IsStory("loop_refused_frame", story));
    EXPECT_EQ(rig.Cam().gpioInputEvent, 0U);
    EXPECT_EQ(rig.Cam().gpioInputValue, 0U);
}

TEST(Loop, UserSignalIsNotedBeforeTheFrameIsRead)
{
    Rig rig;
    rig.Open();
    rig.host.fnum = 2;
    rig.host.signals = {3};
    EXPECT_EQ(rig.Loop(), 0);
    EXPECT_EQ(Story(Between(Round(1, {"log", "host", "gev"}), "HaltStop", "SetParamVal(6")), R"(
host KvGi__HaltStop(64, 48, 41.5)
host KvUtl__UpdateGrabState(4)
log3 kv_td_proc:ProcSignalUsr: Grabbed 1 images, processing SIGUSR1...
host KvSc__SetParamVal(6, 0.00)
)");
    EXPECT_EQ(Count(Rig::Of("host"), "CheckDynConfig"), 0U) << "the dynamic LUT has work";
}

TEST(Loop, TemperatureIsReadWithoutASelectorToo)
{
    for (const auto& [missing, call] :
         {std::pair{"DeviceTemperatureSelector", "KvGi__HaltStop(64, 48, 41.5)"},
          {"DeviceTemperature", "KvGi__HaltStop(64, 48, -321.0)"}}) {
        Rig rig(Lacking({missing}));
        rig.host.fnum = 1;
        EXPECT_EQ(Rig::Run(), 0);
        EXPECT_EQ(Rig::HostCalls("KvGi__HaltStop"), Texts{call});
    }
    Rig rig;
    rig.host.fnum = 2;
    rig.host.onCall = [](std::string_view service) {
        if (service == "KvGi__CheckDynConfig") {
            Rig::SetFeature("DeviceTemperatureSelector", "MaxInternal");
        }
    };
    EXPECT_EQ(Rig::Run(), 0);
    EXPECT_THAT(Round(2, {"cam", "gev"}), Contains("cam DeviceTemperatureSelector=Internal"));
}
