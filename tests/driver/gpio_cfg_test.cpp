/** What one pass of the control thread does with the sets that wait. */
#include "kv_td_cthr.h"
#include "kv_td_pins.h"
#include "tests/driver/io_box_sets.h"
#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::IsEmpty;

TEST(Strobe, IsAppliedBySetIndexWithItsPolarity)
{
    Rig rig;
    CExCam& cam = rig.Open();
    cam.lineStates[0] = Waiting(1, 2, 1, 5, 6); // an input line: refused, and idle again
    cam.lineStates[2] = Waiting(1, 2, 2, 100, 500);
    cam.lineStates[3] = Waiting(2, 3, 1, 7, kUnset); // not an output
    cam.lineStates[3].ready = false;                 // as an input leaves it
    cam.lineStates[6] = Waiting(1, 2, 1, 1, 1);      // what a set was before is nobody's work
    EXPECT_TRUE(CCamCtrlThread::DoGpioCfg(&cam));
    EXPECT_EQ(Story(Rig::Of({"log", "cam"})), R"(
log4 kv_td_cthr:DoGpioCfg: IoBox configuration apply handler entry
log3 kv_td_cthr:DoGpioCfg:  Cfg IoBox set 0: Pin 0, Mod 1, Src 2, Inv 1 (param[0]=0x5, param[1]=0x6)
log2 kv_td_excam:ExSetLineModeOutStrobe: The input parameter (pin=0) is not supported for output configuration
log3 kv_td_cthr:DoGpioCfg:  Cfg IoBox set 2: Pin 2, Mod 1, Src 2, Inv 2 (param[0]=0x64, param[1]=0x1F4)
cam LineSelector=Line3
cam outputLineSource=ExposureActive
cam LineInverter=false
cam outputLinePulseDelay=100
cam outputLinePulseDuration=500
log3 kv_td_excam:ExSetLineModeOutStrobe: ### set strobe on pin 2: onOff=1 polarity=0 (delay=100us, width=500us) ###
log3 kv_td_cthr:DoGpioCfg:  Cfg IoBox set 3: Pin 3, Mod 2, Src 3, Inv 1 (param[0]=0x7, param[1]=0xFFFFFFFF)
cam LineSelector=Line4
cam outputLineSource=Off
log3 kv_td_excam:ExSetLineModeOutStrobe: ### set strobe on pin 3: onOff=0 polarity=1 (delay=7us, width=4294967295us) ###
)");
    EXPECT_EQ(cam.lineStates[2].appliedLimitUs, kUnset);
    EXPECT_EQ(cam.lineStates[3].appliedLimitUs, 0U) << "no width, no limit";
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(cam.lineStates[i].ready) << i;
        EXPECT_FALSE(cam.lineStates[i].applyPending) << i;
    }
    EXPECT_FALSE(cam.gpioActivity);
}

TEST(Strobe, WidthKeepsToTheLimit)
{
    Rig rig;
    CExCam& cam = rig.Open();
    cam.pulseLimitUs = 300;
    for (const auto& [width, used] : {std::pair{299U, 299U}, {300U, 300U}, {301U, 300U}}) {
        cam.lineStates[2] = Waiting(1, 3, 1, kUnset, width);
        CCamCtrlThread::DoGpioCfg(&cam);
        EXPECT_EQ(Rig::Of("cam").back(), "outputLinePulseDuration=" + std::to_string(used));
        EXPECT_EQ(cam.lineStates[2].appliedLimitUs, 300U);
    }
    cam.lineStates[2] = Waiting(1, 3, 1, kUnset, kUnset);
    CCamCtrlThread::DoGpioCfg(&cam);
    EXPECT_EQ(Count(Rig::Logs("ExSetLineModeOutStrobe"), "width=4294967295us"), 1U);
    cam.lineStates[2] = Waiting(1, 1, 1, kUnset, 5); // off: no strobe, no limit taken over
    CCamCtrlThread::DoGpioCfg(&cam);
    EXPECT_EQ(cam.lineStates[2].appliedLimitUs, 0U);
    EXPECT_EQ(Rig::Of("cam").back(), "outputLineSource=Off");
}

TEST(GpioCmd, IsQueuedAndMakesTheAwaitedInputBusy)
{
    Rig rig;
    CExCam& cam = rig.Open();
    cam.lineStates[1] = Waiting(2, 5, 2, 250, 9);
    EXPECT_TRUE(CCamCtrlThread::DoGpioCfg(&cam));
    EXPECT_EQ(cam.gpioInputSet, 1);
    EXPECT_TRUE(cam.lineStates[1].cmdInverted);
    EXPECT_FALSE(cam.lineStates[1].ready);
    EXPECT_TRUE(cam.gpioActivity);
    cam.gpioActivity = false;
    cam.lineStates[1].ready = true;
    cam.gpioCmdDone = true;
    cam.lineStates[0] = Waiting(1, 5, 1, 32, 914);
    cam.lineStates[0].cmdProgress = 7;
    EXPECT_TRUE(CCamCtrlThread::DoGpioCfg(&cam));
    EXPECT_EQ(Story(Rig::Logs()), R"(
4 DoGpioCfg: IoBox configuration apply handler entry
3 DoGpioCfg:  Cfg IoBox set 1: user input with timeout '250' (0x000000FA) us
4 DoGpioCfg: IoBox configuration apply handler entry
3 DoGpioCfg:  Cfg IoBox set 0: enqueue gpio cmd '914' (0x00000392)
)");
    const IoBoxSet& set = cam.lineStates[0];
    EXPECT_EQ(set.pendingCmd, 914U);
    EXPECT_EQ(set.cmdBitCount, 32);
    EXPECT_EQ(set.cmdBitsLeft, 32);
    EXPECT_EQ(set.cmdProgress, 0U);
    EXPECT_TRUE(set.cmdActive);
    EXPECT_FALSE(set.cmdInverted);
    EXPECT_FALSE(set.ready);
    EXPECT_FALSE(cam.lineStates[1].ready);
    EXPECT_TRUE(cam.gpioActivity);
    EXPECT_FALSE(cam.gpioCmdDone);
    EXPECT_EQ(cam.gpioCmdValue, 914U);
    EXPECT_THAT(Rig::Of("cam"), IsEmpty());
}

TEST(GpioCmd, SecondOneWaitsBehindTheFirst)
{
    Rig rig;
    CExCam& cam = rig.Open();
    cam.lineStates[0] = Waiting(1, 5, 1, 1, 3);
    EXPECT_TRUE(CCamCtrlThread::DoGpioCfg(&cam));
    cam.lineStates[0].param1 = 4;
    cam.lineStates[0].applyPending = true;
    for (const std::uint32_t other : {5U, 6U}) { // another set's commands don't
        cam.lineStates[0].ready = true;
        cam.gpioActivity = false;
        cam.lineStates[2] = Waiting(1, 5, 1, 8, other);
        Rig::Clear();
        EXPECT_FALSE(CCamCtrlThread::DoGpioCfg(&cam));
        EXPECT_EQ(cam.gpioCmdValue, other);
        const std::string before = std::to_string(other == 5 ? 3 : 5);
        EXPECT_EQ(Rig::Logs()[1], "2 DoGpioCfg:  Cfg IoBox set 0: prev cmd ('" + before +
                                      "' 0x0000000" + before +
                                      ") sending is active, skip cmd '4' (0x00000004)")
            << "it tells the newest command of all sets";
        EXPECT_EQ(cam.lineStates[2].pendingCmd, other);
        EXPECT_EQ(cam.lineStates[0].pendingCmd, 3U);
        EXPECT_TRUE(cam.lineStates[0].applyPending);
        EXPECT_FALSE(cam.lineStates[0].ready);
        EXPECT_TRUE(cam.gpioActivity);
    }
    cam.lineStates[0].mode = 2; // an input takes the place of both
    EXPECT_TRUE(CCamCtrlThread::DoGpioCfg(&cam));
    EXPECT_EQ(cam.lineStates[0].pendingCmd, kUnset);
    EXPECT_EQ(cam.gpioInputSet, 0);
    cam.lineStates[0].mode = 7; // and nothing the place of the input
    cam.lineStates[0].applyPending = true;
    EXPECT_TRUE(CCamCtrlThread::DoGpioCfg(&cam));
    EXPECT_EQ(cam.gpioInputSet, -1);
}

TEST(GpioCmd, WithoutLengthOrValueIsDropped)
{
    Rig rig;
    CExCam& cam = rig.Open();
    for (const auto& [bits, value] : {std::pair{0U, 1U}, {33U, 1U}, {kUnset, 1U}, {8U, kUnset}}) {
        cam.lineStates[2] = Waiting(1, 5, 1, bits, value);
        EXPECT_TRUE(CCamCtrlThread::DoGpioCfg(&cam));
        EXPECT_EQ(cam.lineStates[2].pendingCmd, kUnset);
        EXPECT_TRUE(cam.lineStates[2].ready);
        EXPECT_FALSE(cam.lineStates[2].applyPending);
    }
    EXPECT_EQ(Rig::Logs().size(), 4U) << "entry lines";
}

TEST(GpioCmd, FixedUserOutputIsPrepared)
{
    Rig rig;
    CExCam& cam = rig.Open();
    EXPECT_EQ(CCamCtrlThread::ConfigureLineUserOutput(&cam, static_cast<td_pins>(4), 2), -1);
    EXPECT_FALSE(cam.ioboxApplyReq);
    EXPECT_EQ(CCamCtrlThread::ConfigureLineUserOutput(&cam, static_cast<td_pins>(3), 2), 0);
    EXPECT_EQ(Rig::Logs().back(), "3 ConfigureLineUserOutput: ***** Opening GPIO line from ctrl "
                                  "thread: rc=0 *********");
    EXPECT_TRUE(cam.ioboxApplyReq);
    EXPECT_TRUE(CCamCtrlThread::DoGpioCfg(&cam));
    EXPECT_EQ(cam.lineStates[3].pendingCmd, 914U);
    EXPECT_EQ(cam.lineStates[3].cmdBitCount, 10);
    EXPECT_TRUE(cam.lineStates[3].cmdInverted);
}
