#include "kv_td_factory.h"
#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

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
    struct Case {
        int asked;
        std::uint32_t used;
    };
    for (const Case& c : {Case{9180, 9180}, {9181, 1500}, {1400, 1400}}) {
        Rig rig;
        CExCam& cam = rig.Open();
        GEV_CAMERA_OPTIONS before{};
        GevGetCameraInterfaceOptions(rig.handle, &before);
        rig.host.datachunk = c.asked;
        rig.host.fnum = 1;
        Rig::Clear();
        EXPECT_EQ(KvTdProc(&cam), 0);
        EXPECT_EQ(Story(Between(Rig::Of({"log", "host", "gev"}), "KvTdProc entry", "GetFnum")), R"(
log3 kv_td_proc:KvTdProc: KvTdProc entry: mode=0
gev GevGetCameraInterfaceOptions()=0
host KvGiMainCtx__GetDatachunk()
gev GevSetCameraInterfaceOptions()=0
log3 kv_td_cthr:CtrlThreadStart: grab ctrl thread default: policy=0 prio=0
log3 kv_td_cthr:CtrlThreadStart: Creating ctrl thread...
log3 kv_td_proc:ProcOnce: Using device Model:Simulated-M Serial:S0000001
host KvGiMainCtx__GetFnum()
)");
        EXPECT_EQ(Rig::Logs().back(), "3 KvTdProc: scenario is completed (rc = 0)");
        GEV_CAMERA_OPTIONS after{};
        GevGetCameraInterfaceOptions(rig.handle, &after);
        EXPECT_EQ(after.heartbeatTimeoutMs, 5000U);
        EXPECT_EQ(after.streamPacketSize, c.used);
        EXPECT_EQ(after.streamPacketDelay, 10U);
        EXPECT_EQ(after.streamFramesBuffered, 4U);
        EXPECT_EQ(after.streamMemoryLimit, 67108864U);
        EXPECT_EQ(after.streamFrameTimeoutMs, 1001U);
        EXPECT_EQ(after.commandTimeoutMs, before.commandTimeoutMs);
        EXPECT_EQ(after.commandRetries, before.commandRetries);
        EXPECT_EQ(after.streamMaxPacketResend, before.streamMaxPacketResend);
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

TEST(Loop, SetUpInItsOrder)
{
    Rig rig;
    rig.Open();
    rig.host.fnum = 2;
    EXPECT_EQ(rig.Loop(), 0);
    Texts told = Between(Rig::Of({"log3", "host", "gev"}), "...initial configuration is applied",
                         "GevWaitForNextFrame");
    std::erase_if(
        told, [](const std::string& text) { return text.find("GetBufPtr") != std::string::npos; });
    EXPECT_THAT(
        told, ElementsAre("log3 kv_td_proc:ProcSetCamConfig: ...initial configuration is applied",
                          "host KvGiMainCtx__SetBnum(4)", "host KvGiMem__Init(3328, 0)",
                          "host KvGiMem__SetActFsize(3072)", "host KvGiMainCtx__GetCformat()",
                          "host KvGiMem__IsFactoryUsed()", "gev GevInitializeTransfer(1,3328,4)=0",
                          testing::HasSubstr("GetBuffer: return flat buffer:"),
                          testing::StartsWith("log3 kv_td_proc:ProcLoop: START GRABBING "
                                              "(bufferFrameSize 3328, bNum 4, fNum 2, PID "),
                          "log3 kv_td_excam:ExStartCapture: ****** starting capture ******",
                          "gev GevStartTransfer(-1)=0", "host KvGi__ResetTermSigProc()",
                          "gev GevWaitForNextFrame(1000)=0"));
    EXPECT_THAT(Rig::Of("host").front(), "KvGiMainCtx__GetFnum()");
    EXPECT_THAT(Rig::Of("host")[1], "KvGiMainCtx__GetBnum()");
}

TEST(Loop, FirstFrameIsStampedButNeverExported)
{
    //      loop start 10.000 s      frame 1, exposed at 10.000 s, arrives 10 267 us later
    Rig rig;
    rig.Open();
    rig.host.fnum = 2;
    EXPECT_EQ(rig.Loop(), 0);
    EXPECT_EQ(Story(Round(1, {"log", "host", "gev", "cam"})), R"(
gev GevWaitForNextFrame(1000)=0
host KvUtl__TimeValDiff()
host KvUtl__CheckSignal()
host KvGi__HaltStop(64, 48, 41.5)
host KvUtl__UpdateGrabState(4)
cam GainSelector=SensorAll
host KvSc__SetParamVal(6, 0.00)
host KvSc__SetParamVal(7, 10000.00)
host KvSc__SetParamVal(9, 10000000000)
host KvSc__SetParamVal(10, 0)
log3 kv_td_proc:ProcLoop: Init timings: latencyUs=10267, tsDiffAdjUs=1000000000000005, diffCheck=10262 (btsFGotUs=10000000, btsFStartUs=10000000)
host KvGi__CommTriggerAll(1000000010033338, 5, 10000)
host KvGi__CheckDynConfig()
gev GevReleaseFrame()=0
)");
}

TEST(Loop, LaterFramesGoThroughInOrder)
{
    Rig rig;
    rig.Open();
    rig.host.fnum = 3;
    EXPECT_EQ(rig.Loop(), 0);
    EXPECT_THAT(
        Round(2, {"log", "host", "gev", "cam", "read", "mode"}),
        ElementsAre("gev GevWaitForNextFrame(1000)=0", "host KvUtl__TimeValDiff()",
                    "host KvUtl__CheckSignal()", "mode DeviceTemperatureSelector.Internal:RW",
                    "read DeviceTemperatureSelector=Internal",
                    testing::StartsWith("read DeviceTemperature=41.5"),
                    "host KvGi__HaltStop(64, 48, 41.5)", "cam GainSelector=SensorAll",
                    "read Gain=1", "host KvSc__SetParamVal(6, 0.00)", "read ExposureTime=10000",
                    "host KvSc__SetParamVal(7, 10000.00)", "host KvSc__SetParamVal(9, 10033333333)",
                    "host KvSc__SetParamVal(10, 1)",
                    "host KvGiMemInst__Trigger(0, 0, 1000000010033338, buf1, 0)",
                    "host KvUtl__TimeValDiff()", "host KvSc__SetParamVal(12, 1000000010033338)",
                    "host KvSc__ProcExport(1000000010033338)",
                    "host KvGi__CommTriggerAll(1000000010066671, 5, 10000)",
                    "host KvGi__CheckDynConfig()", "gev GevReleaseFrame()=0"));
    EXPECT_EQ(rig.proc.currImage, rig.host.BufferAt(2));
    EXPECT_EQ(rig.proc.pendingFrame, nullptr);
}

TEST(Loop, FrameCountEndsItInOrder)
{
    Rig rig;
    rig.Open();
    rig.host.fnum = 2;
    EXPECT_EQ(rig.Loop(), 0);
    Texts told = Between(Rig::Of({"log", "host", "gev"}), "stopping capture", "never");
    std::erase_if(told, [](const std::string& text) {
        return text.find("_t_PrintProfiler") != std::string::npos ||
               text.find("Disabled") != std::string::npos;
    });
    EXPECT_EQ(Story(told), R"(
log3 kv_td_excam:ExStopCapture: ****** stopping capture ******
gev GevAbortTransfer()=0
host KvGi__SetTermSigProc()
gev GevFreeTransfer()=0
host KvGi__SetNewCfgVendor()
host KvGi__SetNewCfgPlugin()
log3 kv_td_proc:ProcLoop: ...GRABBING IS DONE (captured 2 frames of 2 loops)
log3 kv_td_proc:ProcSetCamConfigEnd: Restore some changed camera values (15)
log3 kv_td_proc:ProcSetCamConfigEnd: Camera config restore is done
host KvUtl__TimeValDiff()
log3 kv_td_proc:ProcLoop: grabbing loop is completed with exitCode =0
)");
    EXPECT_EQ(Count(Rig::Of("gev"), "GevReleaseFrame"), 1U) << "the last frame is not released";
}

TEST(Loop, StopRequestWinsOverTheFrameCount)
{
    Rig rig;
    rig.Open();
    rig.host.fnum = 2;
    rig.host.signals = {0, 5};
    EXPECT_EQ(rig.Loop(), 0);
    EXPECT_EQ(Count(Rig::Of("gev"), "GevAbortTransfer"), 1U);
    EXPECT_EQ(Count(Rig::Of("host"), "SetSignalAction(5)"), 1U);
    EXPECT_EQ(Count(Rig::Of("host"), "SetNewCfgVendor"), 2U) << "once for the count that was set";

    Rig::Clear();
    rig.host.fnum = 0;
    rig.host.signals = {1};
    EXPECT_EQ(rig.Loop(), 0);
    EXPECT_EQ(Count(Rig::Of("host"), "SetNewCfgVendor"), 1U);
}

TEST(Loop, HardFailureOfAReconfigurationIsItsResult)
{
    Rig rig;
    rig.host.signals = {0, 2};
    rig.host.reconfigResult = -1;
    rig.host.reconfigFlag = 1;
    EXPECT_EQ(Rig::Run(), kExitReconfigFailed);
    EXPECT_EQ(Count(Rig::Logs(), "Restore some changed"), 0U) << "the chunks stay on";
    EXPECT_EQ(Count(Rig::Logs(), "grabbing loop is completed with exitCode =1"), 1U);
}

TEST(Loop, BitDepthSwitchRunsItAgainWithoutResettingTheStates)
{
    Rig rig;
    rig.Open();
    rig.host.signals = {0, 4};
    rig.proc.usrSignalPending = 9; // of an earlier session: cleared before the first run
    rig.proc.reconfigState = 7;
    rig.host.onCall = [&](std::string_view service) {
        if (service == "KvGiMem__Init" && rig.host.format == kFormatMono8) {
            EXPECT_EQ(rig.proc.reconfigState, 0);
            EXPECT_EQ(rig.proc.usrSignalPending, 0U);
        }
        // Stands in for the dynamic LUT: the second run ends with the states cleared.
        if (service == "KvGiMem__Init" && rig.host.format == kFormatMono12Packed) {
            EXPECT_EQ(rig.proc.reconfigState, 6);
            EXPECT_EQ(rig.proc.usrSignalPending, 1U);
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
    sim::CameraSetup setup = SmallCamera();
    setup.values = {{"AcquisitionFrameRate", "10"}};
    Rig rig(setup);
    rig.Open();
    rig.host.fnum = 13;
    EXPECT_EQ(rig.Loop(), 0);
    EXPECT_EQ(rig.proc.framePeriodUs, 100'000U);
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
    rig.Cam().gpioInputEvent = 3;
    rig.Cam().gpioInputValue = 7;
    EXPECT_EQ(rig.Loop(), 0);
    EXPECT_EQ(Story(Between(Round(2, {"host", "gev"}), "Trigger(0", "CommTrigger")), R"(
host KvGiMemInst__Trigger(0, 0, 1000000010033338, buf1, 0)
host KvUtl__TimeValDiff()
host KvSc__SetParamVal(12, 1000000010033338)
host KvGi__CommTriggerAll(1000000010066671, 5, 10000)
)");
    // The input of the refused frame goes with the next.
    EXPECT_EQ(Story(Between(Round(3, {"host", "gev"}), "Trigger(0", "CommTrigger")), R"(
host KvGiMemInst__Trigger(0, 0, 1000000010066671, buf2, 0)
host KvUtl__TimeValDiff()
host KvSc__SetParamVal(12, 1000000010066671)
host KvSc__SetParamVal(13, 3)
host KvSc__SetParamVal(14, 7)
host KvSc__ProcExport(1000000010066671)
host KvSc__SetParamVal(14, 0)
host KvGi__CommTriggerAll(1000000010100004, 5, 10000)
)");
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
    struct Case {
        std::vector<std::string> missing;
        const char* call;
    };
    for (const Case& c : {Case{{"DeviceTemperatureSelector"}, "KvGi__HaltStop(64, 48, 41.5)"},
                          Case{{"DeviceTemperature"}, "KvGi__HaltStop(64, 48, -321.0)"}}) {
        sim::CameraSetup setup = SmallCamera();
        setup.missing = c.missing;
        Rig rig(setup);
        rig.host.fnum = 1;
        EXPECT_EQ(Rig::Run(), 0);
        EXPECT_EQ(Rig::HostCalls("KvGi__HaltStop"), Texts{c.call});
    }
    Rig rig;
    rig.host.fnum = 2;
    rig.host.onCall = [](std::string_view service) {
        if (service == "KvGi__CheckDynConfig") {
            sim::SetFeatureText("S0000001", "DeviceTemperatureSelector", "MaxInternal");
        }
    };
    EXPECT_EQ(Rig::Run(), 0);
    EXPECT_THAT(Round(2, {"cam", "gev"}), Contains("cam DeviceTemperatureSelector=Internal"));
}
