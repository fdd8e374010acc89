#include "kv_td_cthr.h"
#include "kv_td_pins.h"
#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr std::uint32_t kUnset = kIoboxParamUnset;
constexpr auto kSet2 = static_cast<td_pins>(2);
constexpr auto kSet3 = static_cast<td_pins>(3);

class LinesRig : public Rig
{
public:
    LinesRig() { Open(); }
    /** The configuration of the sets, as it is applied; the log but for the entry line. */
    Texts Apply()
    {
        Clear();
        proc.ProcParametrizeCamOutLines(&Cam());
        Texts logs = Logs("ProcParametrizeCamOutLines");
        logs.erase(logs.begin());
        return logs;
    }
    /** What the control thread does, and somebody who sends commands and sees to inputs. */
    void TakeSets()
    {
        Cam().ioboxApplyReq = !CCamCtrlThread::DoGpioCfg(&Cam());
        for (IoBoxSet& set : Cam().lineStates) {
            set.pendingCmd = kNoGpioCmd;
            set.ready = true;
        }
    }
};

} // namespace

TEST(OutLines, ChangedSetsAreHandedOverWithTheirEarlierValues)
{
    LinesRig rig;
    rig.host.ioboxes = {{TD_PIN_OUT1, 1, 2, 1, {100, 500}},
                        {TD_PIN_LINE2, 2, 5, 2, {7, 8}},
                        {TD_PIN_LINE1, 1, 1, 0, {9, 9}}};
    rig.Apply();
    EXPECT_EQ(Story(Rig::Of({"host", "log", "cam"})), R"(
host KvGiMainCtx__GetIoboxNum()
log3 kv_td_proc:ProcParametrizeCamOutLines: IoBox settings handler entry: numCfg 3 (allowed cfg? - "YES")
host KvGiMainCtx__GetIoboxPin(0)
host KvGiMainCtx__GetIoboxMod(0)
host KvGiMainCtx__GetIoboxInv(0)
host KvGiMainCtx__GetIoboxSrc(0)
host KvGiMainCtx__GetIoboxPar(0, 0)
host KvGiMainCtx__GetIoboxPar(0, 1)
log3 kv_td_proc:ProcParametrizeCamOutLines:  Cfg IoBox set 0: Pin 'Out1', Mod 1, Src 2, Inv 1 (param[0]=100, param[1]=500)
host KvGiMainCtx__GetIoboxPin(1)
host KvGiMainCtx__GetIoboxMod(1)
host KvGiMainCtx__GetIoboxInv(1)
host KvGiMainCtx__GetIoboxSrc(1)
host KvGiMainCtx__GetIoboxPar(1, 0)
host KvGiMainCtx__GetIoboxPar(1, 1)
log3 kv_td_proc:ProcParametrizeCamOutLines:  Cfg IoBox set 1: Pin 'Line2', Mod 2, Src 5, Inv 2 (param[0]=7, param[1]=8)
host KvGiMainCtx__GetIoboxPin(2)
host KvGiMainCtx__GetIoboxMod(2)
host KvGiMainCtx__GetIoboxInv(2)
host KvGiMainCtx__GetIoboxSrc(2)
log3 kv_td_proc:ProcParametrizeCamOutLines:  Cfg IoBox set 2: Pin 'Line1', Mod 1, Src 1, Inv 0 (param[0]=4294967295, param[1]=4294967295)
)");
    const CExCam& cam = rig.Cam();
    EXPECT_TRUE(cam.ioboxApplyReq);
    EXPECT_EQ(cam.lineStates[2].param0, 100U);
    EXPECT_EQ(cam.lineStates[2].param1, 500U);
    EXPECT_EQ(cam.lineStates[2].mode, 1);
    EXPECT_EQ(cam.lineStates[2].source, 2);
    EXPECT_EQ(cam.lineStates[2].invert, 1);
    EXPECT_TRUE(cam.lineStates[2].applyPending);
    EXPECT_EQ(cam.lineStates[6].param0, kUnset) << "as it was before";
    EXPECT_FALSE(cam.lineStates[6].applyPending);
    EXPECT_EQ(cam.lineStates[6].setIndex, 2);
    EXPECT_TRUE(cam.lineStates[1].applyPending);
    EXPECT_EQ(cam.lineStates[0].param0, kUnset);
    EXPECT_FALSE(cam.lineStates[3].applyPending);

    rig.TakeSets();
    rig.host.ioboxes[0].parameters[0] = 101;
    rig.Apply();
    EXPECT_EQ(cam.lineStates[6].param0, 100U);
}

TEST(OutLines, OnlyChangesCount)
{
    struct Case {
        const char* what;
        IoBoxConfig first;
        IoBoxConfig second;
        bool changed;
        std::uint32_t limitUs = kUnset; ///< of a pulse, at the second
    };
    const IoBoxConfig strobe{TD_PIN_OUT1, 1, 2, 1, {10, kUnset}};
    const IoBoxConfig input{TD_PIN_OUT1, 2, 5, 1, {10, 20}};
    const IoBoxConfig command{TD_PIN_OUT1, 1, 5, 1, {10, 20}};
    const IoBoxConfig wide{TD_PIN_OUT1, 1, 3, 1, {10, 500}};
    const IoBoxConfig off{TD_PIN_OUT1, 1, 1, 1, {10, 20}};
    const auto with = [](IoBoxConfig config, auto change) {
        change(config);
        return config;
    };
    const Case cases[] = {
        {"the same strobe", strobe, strobe, false},
        {"delay", strobe, with(strobe, [](auto& c) { c.parameters[0] = 11; }), true},
        {"width", strobe, with(strobe, [](auto& c) { c.parameters[1] = 5; }), true},
        {"mode", strobe, with(strobe, [](auto& c) { c.mode = 2; }), true},
        {"inverter", strobe, with(strobe, [](auto& c) { c.inverted = 2; }), true},
        {"source", strobe, with(strobe, [](auto& c) { c.source = 3; }), true},
        {"the same strobe with a width", wide, wide, false},
        {"another width", wide, with(wide, [](auto& c) { c.parameters[1] = 501; }), true},
        {"the same one, under a new limit", wide, wide, true, 400},
        {"no width under a new limit", strobe, strobe, false, 400},
        {"a line that is off, under a new limit", off, off, false, 400},
        {"an input under a new limit", input, input, false, 400},
        {"a strobe again after it was off", off, strobe, true},
        {"an input in place of a strobe", wide, input, true},
        {"an input's parameters", input, with(input, [](auto& c) { c.parameters[0] = 11; }), false},
        {"the same command", command, command, true},
        {"parameters of a line that is off", off, with(off, [](auto& c) { c.parameters[0] = 11; }),
         false},
    };
    for (const Case& c : cases) {
        LinesRig rig;
        rig.host.ioboxes = {c.first};
        rig.Apply();
        EXPECT_TRUE(rig.Cam().ioboxApplyReq) << c.what;
        rig.TakeSets();
        rig.host.ioboxes = {c.second};
        rig.Cam().pulseLimitUs = c.limitUs;
        const Texts logs = rig.Apply();
        EXPECT_EQ(Count(logs, " Cfg IoBox set 0: no config changes are detected, skipped"),
                  c.changed ? 0U : 1U)
            << c.what;
        EXPECT_EQ(rig.Cam().ioboxApplyReq, c.changed) << c.what;
        EXPECT_EQ(rig.Cam().lineStates[2].applyPending, c.changed) << c.what;
    }
}

TEST(OutLines, CommandIsAlwaysAChange)
{
    LinesRig rig;
    rig.host.ioboxes = {{TD_PIN_LINE1, 1, 5, 0, {8, 3}}};
    for (int i = 0; i < 3; ++i) {
        EXPECT_THAT(rig.Apply(), testing::SizeIs(1));
        EXPECT_TRUE(rig.Cam().lineStates[0].applyPending);
        rig.TakeSets();
    }
}

TEST(OutLines, BusyThreadSkipsTheWholeConfiguration)
{
    LinesRig rig;
    rig.host.ioboxes = {{TD_PIN_OUT1, 1, 2, 1, {100, 500}}};
    rig.Cam().ioboxApplyReq = true;
    Rig::Clear();
    rig.proc.ProcParametrizeCamOutLines(&rig.Cam());
    rig.host.ioboxes.clear();
    rig.Cam().ioboxApplyReq = false;
    rig.proc.ProcParametrizeCamOutLines(&rig.Cam());
    EXPECT_EQ(Story(Rig::Of({"host", "log"})), R"(
host KvGiMainCtx__GetIoboxNum()
log3 kv_td_proc:ProcParametrizeCamOutLines: IoBox settings handler entry: numCfg 1 (allowed cfg? - "NO")
host KvGiMainCtx__GetIoboxNum()
log3 kv_td_proc:ProcParametrizeCamOutLines: IoBox settings handler entry: numCfg 0 (allowed cfg? - "YES")
)");
    EXPECT_FALSE(rig.Cam().ioboxApplyReq);
}

TEST(OutLines, FourthSetIsNotRead)
{
    LinesRig rig;
    for (const int pin : {1, 2, 5, 6}) { // Line1, Line2, Out1, Out2
        rig.host.ioboxes.push_back({pin, 1, 2, 1, {1, 2}});
    }
    rig.Apply();
    EXPECT_TRUE(rig.Cam().lineStates[2].applyPending);
    EXPECT_FALSE(rig.Cam().lineStates[3].applyPending);
    EXPECT_THAT(Rig::HostCalls("KvGiMainCtx__GetIoboxPin"), testing::SizeIs(3));
}

TEST(OutLines, PinThatIsNonePrintsAsAQuestionMark)
{
    LinesRig rig;
    for (const auto& [pin, name] : std::vector<std::pair<int, std::string>>{{TD_PIN_NONE, "None"},
                                                                            {TD_PIN_LINE3, "Line3"},
                                                                            {TD_PIN_OUT3, "Out3"},
                                                                            {TD_PIN_GPIO3, "Gpio3"},
                                                                            {13, "?"},
                                                                            {-1, "?"},
                                                                            {INT32_MIN, "?"}}) {
        rig.host.ioboxes = {{pin, 1, 2, 1, {1, 2}}};
        EXPECT_THAT(rig.Apply(), ElementsAre("2 ProcParametrizeCamOutLines: The Pin '" + name +
                                             "' is not supported for this device"));
        EXPECT_FALSE(rig.Cam().ioboxApplyReq);
    }
}

TEST(OutLines, BusySetIsPassedOverAndTheOthersGoOn)
{
    LinesRig rig;
    rig.Cam().lineStates[2].ready = false;
    rig.host.ioboxes = {{TD_PIN_OUT1, 1, 5, 0, {8, 3}}, {TD_PIN_OUT2, 1, 3, 2, {1, 2}}};
    EXPECT_EQ(Story(rig.Apply()), R"(
2 ProcParametrizeCamOutLines: The Pin 'Out1' can't be reconfigured right now, pls come later...
3 ProcParametrizeCamOutLines:  Cfg IoBox set 1: Pin 'Out2', Mod 1, Src 3, Inv 2 (param[0]=1, param[1]=2)
)");
    EXPECT_FALSE(rig.Cam().lineStates[2].applyPending);
    EXPECT_TRUE(rig.Cam().lineStates[3].applyPending);
    EXPECT_TRUE(rig.Cam().ioboxApplyReq);
}

TEST(Strobe, IsSetOrSwitchedOff)
{
    LinesRig rig;
    CExCam& cam = rig.Cam();
    EXPECT_EQ(cam.ExSetLineModeOutStrobe(kSet2, true, true, 100, 2000), 0);
    EXPECT_EQ(cam.ExSetLineModeOutStrobe(kSet3, true, false, 0, 1), 0);
    EXPECT_EQ(cam.ExSetLineModeOutStrobe(kSet3, false, true, 100, 2000), 0);
    EXPECT_EQ(Story(Rig::Of({"cam", "log"})), R"(
cam LineSelector=Line3
cam outputLineSource=ExposureActive
cam LineInverter=true
cam outputLinePulseDelay=100
cam outputLinePulseDuration=2000
log3 kv_td_excam:ExSetLineModeOutStrobe: ### set strobe on pin 2: onOff=1 polarity=1 (delay=100us, width=2000us) ###
cam LineSelector=Line4
cam outputLineSource=ExposureActive
cam LineInverter=false
cam outputLinePulseDelay=0
cam outputLinePulseDuration=1
log3 kv_td_excam:ExSetLineModeOutStrobe: ### set strobe on pin 3: onOff=1 polarity=0 (delay=0us, width=1us) ###
cam LineSelector=Line4
cam outputLineSource=Off
log3 kv_td_excam:ExSetLineModeOutStrobe: ### set strobe on pin 3: onOff=0 polarity=1 (delay=100us, width=2000us) ###
)");
}

TEST(Strobe, PulsesThatTheCameraDoesNotTakeAreLeftAsTheyAre)
{
    struct Case {
        std::uint32_t delay;
        std::uint32_t width;
        const char* readOnly;
        std::size_t written;
    };
    for (const Case& c :
         {Case{kUnset, kUnset, "", 0}, Case{2'000'000, 2'000'000, "", 2},
          Case{2'000'001, 2'000'001, "", 0}, Case{0, 0, "", 1},
          Case{1, 1, "outputLinePulseDelay", 1}, Case{1, 1, "outputLinePulseDuration", 1}}) {
        sim::CameraSetup setup = SmallCamera();
        setup.readOnly = {c.readOnly};
        Rig rig(setup);
        EXPECT_EQ(rig.Open().ExSetLineModeOutStrobe(kSet2, true, true, c.delay, c.width), 0);
        EXPECT_EQ(Count(Rig::Of("cam"), "outputLinePulse"), c.written) << c.delay << c.readOnly;
    }
}

TEST(Strobe, OtherPinsAndAMissingNodeMapAreRefused)
{
    LinesRig rig;
    for (const int pin : {0, 1, 4, -1}) {
        EXPECT_EQ(rig.Cam().ExSetLineModeOutStrobe(static_cast<td_pins>(pin), true, true, 1, 1),
                  -1);
    }
    rig.Cam().nodeMap = nullptr;
    EXPECT_EQ(rig.Cam().ExSetLineModeOutStrobe(kSet2, true, true, 1, 1), -1);
    EXPECT_EQ(Story(Rig::Of({"cam", "log"})), R"(
log2 kv_td_excam:ExSetLineModeOutStrobe: The input parameter (pin=0) is not supported for output configuration
log2 kv_td_excam:ExSetLineModeOutStrobe: The input parameter (pin=1) is not supported for output configuration
log2 kv_td_excam:ExSetLineModeOutStrobe: The input parameter (pin=4) is not supported for output configuration
log2 kv_td_excam:ExSetLineModeOutStrobe: The input parameter (pin=-1) is not supported for output configuration
log2 kv_td_excam:ExSetLineModeOutStrobe: Can't get dev params to configure Out line
)");
}

TEST(Strobe, MissingFeatureRaisesBeforeAnyWrite)
{
    for (const char* feature : {"LineSelector", "outputLineSource", "LineInverter",
                                "outputLinePulseDelay", "outputLinePulseDuration"}) {
        sim::CameraSetup setup = SmallCamera();
        setup.missing = {feature};
        Rig rig(setup);
        CExCam& cam = rig.Open();
        for (const bool on : {true, false}) {
            EXPECT_THROW(cam.ExSetLineModeOutStrobe(kSet2, on, true, 1, 1),
                         GenICam::LogicalErrorException)
                << feature;
        }
        EXPECT_THAT(Rig::Of({"cam", "log"}), IsEmpty()) << feature;
    }
}
