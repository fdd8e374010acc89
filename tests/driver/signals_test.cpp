#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

/** A session in the middle of grabbing: configured and running, the journal fresh. */
class SignalRig : public Rig
{
public:
    SignalRig()
    {
        Open();
        std::uint32_t buffers = 4;
        proc.ProcSetCamConfig(&Cam(), &buffers);
        Clear();
    }
    /** What ProcSignal makes of a state; `stop` starts as true, to see whether it is written. */
    int Signal(int state)
    {
        stop = true;
        proc.lastSignal = state;
        return proc.ProcSignal(&Cam(), 42, &stop);
    }
    /** Everything but what the parametrization writes between. */
    static Texts Told()
    {
        Texts texts = Of({"host", "gev", "log"});
        std::erase_if(texts, [](const std::string& text) {
            return text.find("TimeValDiff") != std::string::npos ||
                   text.find("ExStopCapture") != std::string::npos ||
                   text.find("GetSweep") != std::string::npos;
        });
        return texts;
    }
    bool stop = true;
};

} // namespace

TEST(Signals, NothingPendingPollsForADynamicChange)
{
    SignalRig rig;
    EXPECT_EQ(rig.Signal(0), 0);
    EXPECT_THAT(Rig::Of({"host", "log"}), ElementsAre("host KvGi__CheckDynConfig()"));
    EXPECT_TRUE(rig.stop) << "not written";

    Rig::Clear();
    rig.host.dynConfig = 1;
    EXPECT_EQ(rig.Signal(0), 0);
    EXPECT_TRUE(rig.stop);
    EXPECT_EQ(Story(Rig::Of({"host", "log", "cam", "gev"})), R"(
host KvGi__CheckDynConfig()
log3 kv_td_proc:ProcSignal: Grabbed 42 images, dynamic reconfiguration...
host KvGiMainCtx__GetSweepProf()
host KvGiMainCtx__GetSweepGainMod()
host KvGiMainCtx__GetSweepEtimeMod()
host KvGiMainCtx__GetSweepLutMod()
log3 kv_td_proc:ProcParametrizeCamAutoFunc:   AutoFunc settings skipped for "Profile"
log3 kv_td_proc:ProcParametrizeCamAutoFunc:   AutoFunc settings skipped for "GainMode"
log3 kv_td_proc:ProcParametrizeCamAutoFunc:   Autofunc settings skipped for "ExpTimeMode"
host KvGiMainCtx__GetGamma()
log3 kv_td_proc:ProcParametrizeCamGamma: Gamma settings handler entry val: Gamma -1.000000
log3 kv_td_proc:ProcParametrizeCamGamma:   Gamma config is skipped
host KvGiMainCtx__GetIoboxNum()
log3 kv_td_proc:ProcParametrizeCamOutLines: IoBox settings handler entry: numCfg 0 (allowed cfg? - "YES")
host KvUtl__TimeValDiff()
log3 kv_td_proc:ProcSignal: ...done, spent 0us
)");
}

TEST(Signals, DynamicLutWorkSuppressesThePoll)
{
    SignalRig rig;
    rig.host.dynConfig = 1;
    rig.proc.usrSignalPending = 1;
    EXPECT_EQ(rig.Signal(0), 0);
    rig.proc.usrSignalPending = 0;
    rig.proc.reconfigState = 6;
    EXPECT_EQ(rig.Signal(0), 0);
    EXPECT_THAT(Rig::Of({"host", "log"}), IsEmpty());
}

TEST(Signals, SpentTimeLeavesOutWholeSeconds)
{
    SignalRig rig;
    rig.host.onCall = [&](std::string_view service) {
        if (service == "KvGiMainCtx__GetSweepProf") {
            rig.time.AdvanceUs(1'500'000);
        }
    };
    rig.host.dynConfig = 1;
    rig.Signal(0);
    EXPECT_EQ(Rig::Logs().back(), "3 ProcSignal: ...done, spent 500000us");
    rig.Signal(2);
    EXPECT_THAT(Rig::Logs(), Contains("3 ProcSignal: done, spent 500000us"));
}

TEST(Signals, TerminatingStatesStopAndAcknowledge)
{
    for (const int state : {1, 5}) {
        SignalRig rig;
        EXPECT_EQ(rig.Signal(state), 0);
        EXPECT_TRUE(rig.stop);
        EXPECT_EQ(rig.proc.lastSignal, 0);
        EXPECT_EQ(Story(Rig::Of({"host", "log", "gev"})), R"(
log3 kv_td_proc:ProcSignal: Grabbed 42 images, finishing with signal...
log3 kv_td_excam:ExStopCapture: ****** stopping capture ******
gev GevAbortTransfer()=-5
host KvGi__SetNewCfgVendor()
host KvGi__SetNewCfgPlugin()
host KvGi__SetSignalAction()" + std::to_string(state) + ")\n");
    }
}

TEST(Signals, ReconfigurationGoesOnWithTheSameRegion)
{
    SignalRig rig;
    rig.host.width = 64; // the one in force
    rig.host.tsadjns = 1500;
    EXPECT_EQ(rig.Signal(2), 0);
    EXPECT_FALSE(rig.stop);
    EXPECT_EQ(rig.proc.lastSignal, 0);
    EXPECT_EQ(rig.proc.tsAdjNs, 1500) << "a full one chooses the time-stamp mode again";
    const Texts told = SignalRig::Told();
    EXPECT_EQ(Story(Texts(told.begin(), told.begin() + 6)), R"(
log3 kv_td_proc:ProcSignal: Grabbed 42 images, reconfiguration...
host KvGi__DoReconfig(0)
host KvGiMainCtx__GetOffsetX()
host KvGiMainCtx__GetOffsetY()
host KvGiMainCtx__GetWidth()
host KvGiMainCtx__GetHeight()
)");
    EXPECT_EQ(Count(told, "ProcParametrizeCam: ~~ Camera Device New Settings ~~"), 1U);
    EXPECT_EQ(Story(Texts(told.end() - 3, told.end())), R"(
log3 kv_td_proc:ProcParametrizeCam: REFCAMTS mode - TS is obtained from cam (sync accuracy 1.5e-06)
log3 kv_td_proc:ProcSignal: done, spent 0us
log3 kv_td_proc:ProcSignal: continue grabbing with new configuration...
)");
}

TEST(Signals, ChangedRegionEndsTheLoopWithZero)
{
    SignalRig rig;
    rig.host.width = 32;
    EXPECT_EQ(rig.Signal(2), 0);
    EXPECT_TRUE(rig.stop);
    EXPECT_THAT(SignalRig::Told(),
                ElementsAre("log3 kv_td_proc:ProcSignal: Grabbed 42 images, reconfiguration...",
                            "host KvGi__DoReconfig(0)", "host KvGiMainCtx__GetOffsetX()",
                            "host KvGiMainCtx__GetOffsetY()", "host KvGiMainCtx__GetWidth()",
                            "log3 kv_td_proc:ProcSignal: done, spent 0us",
                            "log3 kv_td_proc:ProcSignal: can't continue grabbing with new "
                            "configuration, exiting...",
                            testing::StartsWith("gev GevAbortTransfer()="),
                            "host KvGi__SetSignalAction(2)"));
}

TEST(Signals, HostsRefusalDecidesByResultAndFlag)
{
    struct Case {
        int result;
        int flag;
        bool stop;
        int returned;
    };
    for (const Case& c : {Case{-1, 1, true, 1},
                          {3, 1, true, 0},
                          {0, 1, true, 0},
                          {-1, 0, false, 0},
                          {3, 0, false, 0}}) {
        SignalRig rig;
        rig.host.reconfigResult = c.result;
        rig.host.reconfigFlag = c.flag;
        EXPECT_EQ(rig.Signal(2), c.returned) << c.result << " " << c.flag;
        EXPECT_EQ(rig.stop, c.stop) << c.result << " " << c.flag;
        EXPECT_EQ(Count(Rig::Of("host"), "SetSignalAction(2)"), c.stop ? 1U : 0U);
        EXPECT_EQ(Count(Rig::Of("host"), "GetOffsetX"), 0U) << "the region is not compared";
        EXPECT_EQ(Count(Rig::Logs(), "continue grabbing"), c.stop ? 1U : 0U)
            << "an old configuration that stays is not told of";
    }
}

TEST(Signals, Usr2SwitchesTheBitDepthOfAnEightBitSession)
{
    struct Case {
        int reconfigState;
        int dataBits;
        bool stop;
        std::uint32_t usrSignalPending;
        int stateAfter;
        Texts told;
    };
    const std::string entry =
        "log3 kv_td_proc:ProcSignal: Grabbed 42 images, processing SIGUSR2...";
    const auto abort = std::string("gev GevAbortTransfer()=-5"); // no transfer in this rig
    for (const Case& c :
         {Case{0,
               8,
               true,
               1,
               6,
               {entry, abort, "host KvGiMainCtx__SetFormat(2)",
                "log3 kv_td_proc:ProcSignal: ...Switching to 12-bit mode for dynamic LUT "
                "calculation/applying..."}},
          Case{0, 12, false, 1, 0, {entry}}, Case{6, 8, false, 0, 6, {entry}},
          Case{7,
               12,
               true,
               0,
               7,
               {entry, "host KvGiMainCtx__SetFormat(1)", abort,
                "log3 kv_td_proc:ProcSignal: ...Switching back to 8-bit mode..."}}}) {
        SignalRig rig;
        rig.proc.reconfigState = c.reconfigState;
        rig.proc.dataBits = static_cast<std::uint8_t>(c.dataBits);
        EXPECT_EQ(rig.Signal(4), 0);
        EXPECT_EQ(rig.stop, c.stop);
        EXPECT_EQ(rig.proc.lastSignal, 0);
        EXPECT_EQ(rig.proc.usrSignalPending, c.usrSignalPending);
        EXPECT_EQ(rig.proc.reconfigState, c.stateAfter);
        EXPECT_EQ(SignalRig::Told(), c.told);
    }
}

TEST(Signals, OtherStatesAreLeftAlone)
{
    for (const int state : {3, 6, 77, -1}) {
        SignalRig rig;
        EXPECT_EQ(rig.Signal(state), 0);
        EXPECT_FALSE(rig.stop);
        EXPECT_EQ(rig.proc.lastSignal, state);
        EXPECT_THAT(Rig::Of({"host", "log", "gev"}), IsEmpty());
    }
}

TEST(Signals, StopFlagMayBeNull)
{
    SignalRig rig;
    for (const int state : {0, 1, 2, 3, 4}) {
        rig.proc.lastSignal = state;
        EXPECT_EQ(rig.proc.ProcSignal(&rig.Cam(), 1, nullptr), 0);
    }
}

TEST(Signals, Usr1IsTakenByItsOwnOperation)
{
    SignalRig rig;
    rig.host.signals = {4, 3};
    rig.proc.ProcLookSignal();
    EXPECT_EQ(rig.proc.lastSignal, 4);
    EXPECT_EQ(rig.proc.ProcSignalUsr(7), 0);
    EXPECT_EQ(rig.proc.lastSignal, 4);
    EXPECT_EQ(rig.proc.usrSignalPending, 0U);
    rig.proc.ProcLookSignal();
    EXPECT_EQ(rig.proc.ProcSignalUsr(7), 0);
    EXPECT_EQ(rig.proc.lastSignal, 0);
    EXPECT_EQ(rig.proc.usrSignalPending, 1U);
    EXPECT_THAT(Rig::Logs(),
                ElementsAre("3 ProcSignalUsr: Grabbed 7 images, processing SIGUSR1..."));
}
