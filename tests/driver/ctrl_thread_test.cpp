#include "kv_td_cthr.h"
#include "kv_td_pins.h"
#include "tests/driver/io_box_sets.h"
#include "tests/driver/words.h"
#include "tests/support/quick_thread.h"
#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <iterator>
#include <thread>
#include <tuple>
#include <unistd.h>

using namespace KvTd;
using namespace rig;
using testing::ElementsAre;

namespace
{

/** Gives way until it is so; a test that waits for ever is ended by its time-out. */
template <class Condition> void Await(Condition condition)
{
    while (!condition()) {
        std::this_thread::yield();
    }
}

/** Grows with each thread that nobody joins: its stack stays. */
std::ptrdiff_t MappingsOfThisProcess()
{
    std::ifstream maps("/proc/self/maps");
    return std::count(std::istreambuf_iterator<char>(maps), {}, '\n');
}

bool Logged(const char* part)
{
    return Count(Rig::Logs(), part) > 0;
}

/** Tells, and not at once, that a thread leaves what it was in. */
struct Farewell {
    std::atomic<bool>& gone;
    ~Farewell()
    {
        usleep(1000);
        gone = true;
    }
};

class ThreadRig : public Rig
{
public:
    explicit ThreadRig(const sim::CameraSetup& setup = SmallCamera()) : Rig(setup)
    {
        Open();
        QuickThread::allowed = true;
    }
};

} // namespace

TEST(CtrlThread, HandsSetsBackWhenTheyAreAppliedAndEndsWhenAsked)
{
    ThreadRig rig;
    CExCam& cam = rig.Cam();
    Texts during; // what the grab thread would see, while the control thread writes a line
    rig.host.onLog = [&](std::string_view format) {
        if (format.starts_with("### set strobe") || format.starts_with("IoBox configuration") ||
            format == "ctrl thread loop is done") {
            during.push_back(std::string(cam.ioboxApplyReq ? "busy" : "idle") +
                             (cam.ctrlThreadRunning ? ", running" : ", ended"));
        }
    };
    int looks = 0;
    QuickThread::onSleep = [&](std::uint32_t us) {
        if (us == 10000) { // not the thread's own
            ++looks;
            Await([&] { return !cam.ctrlThreadRunning; });
        }
    };
    {
        CCamCtrlThread thread;
        thread.CtrlThreadStart(&cam);
        Await([&] { return static_cast<bool>(cam.ctrlThreadRunning); });
        rig.host.ioboxes = {{TD_PIN_OUT1, 1, 2, 1, {100, 500}}};
        rig.proc.ProcParametrizeCamOutLines(&cam);
        Await([&] { return !cam.ioboxApplyReq; });
    }
    EXPECT_FALSE(cam.ctrlThreadRunning);
    EXPECT_FALSE(cam.ctrlThreadStopReq) << "taken by the thread";
    EXPECT_THAT(during, ElementsAre("busy, running", "busy, running", "idle, running"));
    EXPECT_EQ(looks, 1);
    for (const char* line : {"3 CtrlThreadStart: grab ctrl thread new: policy=",
                             "3 CtrlThreadFunc: starting device detach ctrl thread (PID ",
                             "3 ~CCamCtrlThread: Stopping grab ctrl thread..."}) {
        EXPECT_EQ(Count(Rig::Logs(), line), 1U) << line;
    }
    EXPECT_EQ(Rig::Logs().back(), "3 CtrlThreadFunc: ctrl thread loop is done");
}

TEST(CtrlThread, CommandThatWaitsKeepsTheRequest)
{
    ThreadRig rig;
    CExCam& cam = rig.Cam();
    {
        CCamCtrlThread thread;
        thread.CtrlThreadStart(&cam);
        PutSet(cam, 1, 1, 5, 0, 8, 3);
        cam.lineStates[1].pendingCmd = 2;
        cam.ioboxApplyReq = true;
        Await([] { return Count(Rig::Logs(), "2 DoGpioCfg:  Cfg IoBox set 1: prev cmd") > 2; });
    }
    EXPECT_TRUE(cam.ioboxApplyReq) << "each pass tries again";
    EXPECT_FALSE(cam.gpioActivity) << "reported by the pass, then cleared";
}

TEST(CtrlThread, DetachmentEndsItAlone)
{
    ThreadRig rig;
    CExCam& cam = rig.Cam();
    // The camera leaves in front of the pass before the third check. The sleeps are the thread's.
    int passes = 0;
    QuickThread::onSleep = [&](std::uint32_t us) {
        EXPECT_EQ(us, 2000U);
        if (++passes == 2 * 250 + 249) {
            sim::SetAttached("S0000001", false);
        }
    };
    {
        CCamCtrlThread thread;
        thread.CtrlThreadStart(&cam);
        Await([&] { return !cam.ctrlThreadRunning && Logged("loop is done"); });
        EXPECT_FALSE(cam.ctrlThreadStopReq);
    }
    EXPECT_EQ(passes, 2 * 250 + 249) << "the pass that sees it gone ends without a sleep";
    const std::string checked = "5 CtrlThreadFunc: ctrl thread is checking cam";
    EXPECT_THAT(Between(Rig::Logs(), "checking", "loop is done"),
                ElementsAre(checked, checked,
                            "3 CtrlThreadFunc: device detach is detected by ctrl thread...",
                            "3 CtrlThreadFunc: ctrl thread loop is done"));
    EXPECT_EQ(Count(Rig::Logs("~CCamCtrlThread"), ""), 0U) << "a later end only joins";
}

TEST(CtrlThread, NotCreatedIsNotReported)
{
    Rig rig;
    CExCam& cam = rig.Open();
    for (HandOverFlag* flag :
         {&cam.ctrlThreadRunning, &cam.ctrlThreadStopReq, &cam.ioboxApplyReq}) {
        *flag = true; // what an earlier session left behind
    }
    PutSet(cam, 2, 1, 5, 2, 8, 3);
    CCamCtrlThread::DoGpioCfg(&cam); // a command, and an input
    std::tie(cam.gpioCmdDone, cam.gpioInputSet) = std::pair(true, 2);
    std::tie(cam.gpioInputEvent, cam.gpioInputValue) = std::pair(6U, 7U);
    Rig::Clear();
    {
        const CCamCtrlThread neverStarted;
        CCamCtrlThread thread;
        thread.CtrlThreadStart(&cam);
        EXPECT_TRUE(cam.ctrlThreadStarted);
    }
    EXPECT_EQ(QuickThread::scheduling, "FIFO, own, 98");
    EXPECT_EQ(Words(cam.ctrlThreadRunning, cam.ctrlThreadStopReq, cam.ioboxApplyReq,
                    cam.gpioActivity, cam.gpioCmdDone, cam.gpioCmdValue, cam.gpioInputSet,
                    cam.gpioInputEvent, cam.gpioInputValue),
              Words(0, 0, 0, 0, 0, kNoGpioCmd, -1, 0, 0));
    EXPECT_THAT(Rig::Logs(),
                ElementsAre("3 CtrlThreadStart: grab ctrl thread default: policy=0 prio=0",
                            "3 CtrlThreadStart: Creating ctrl thread..."));
}

TEST(CtrlThread, StopBeforeItRuns)
{
    ThreadRig rig;
    { // a sanitizer keeps a thread of its own from the first one on
        CCamCtrlThread thread;
        thread.CtrlThreadStart(&rig.Cam());
    }
    const std::ptrdiff_t mappings = MappingsOfThisProcess();
    for (int i = 0; i < 1000; ++i) {
        CCamCtrlThread thread;
        thread.CtrlThreadStart(&rig.Cam()); // and away, running or not
    }
    EXPECT_EQ(QuickThread::created, 1001);
    EXPECT_LT(MappingsOfThisProcess(), mappings + 200);
    EXPECT_EQ(Count(Rig::Logs(), "CtrlThreadFunc: starting"), 1001U);
}

TEST(CtrlThread, ThatDoesNotEndIsCancelledAfterFortyLooks)
{
    for (const bool endsWithTheLastLook : {true, false}) {
        ThreadRig rig;
        std::atomic<bool> stuck = false;
        std::atomic<bool> letGo = false;
        std::atomic<bool> gone = false;
        rig.host.onLog = [&](std::string_view format) {
            if (format != "ctrl thread is checking cam") {
                return;
            }
            const Farewell farewell{gone};
            while (!letGo) {
                stuck = true;
                usleep(1000);
            }
        };
        int looks = 0;
        QuickThread::onSleep = [&](std::uint32_t us) {
            if (us == 10000 && ++looks == 40 && endsWithTheLastLook) { // not the thread's own
                letGo = true;
                Await([&] { return !rig.Cam().ctrlThreadRunning; });
            }
        };
        {
            CCamCtrlThread thread;
            thread.CtrlThreadStart(&rig.Cam());
            Await([&] { return stuck.load(); });
        }
        EXPECT_TRUE(gone) << "joined, so nothing of it is left";
        EXPECT_EQ(looks, 40);
        EXPECT_EQ(Count(Rig::Logs(), "Stopping"), 1U);
        EXPECT_EQ(Rig::Logs().back(), endsWithTheLastLook
                                          ? "3 CtrlThreadFunc: ctrl thread loop is done"
                                          : "3 ~CCamCtrlThread: Cancelling grab ctrl thread...");
        EXPECT_EQ(rig.Cam().ctrlThreadRunning, !endsWithTheLastLook);
        QuickThread::onSleep = nullptr;
    }
}

TEST(CtrlThread, MissingFeatureEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto apply = [] {
        ThreadRig rig(Lacking({"LineInverter"}));
        CCamCtrlThread thread;
        thread.CtrlThreadStart(&rig.Cam());
        rig.host.ioboxes = {{TD_PIN_OUT1, 1, 2, 1, {100, 500}}};
        rig.proc.ProcParametrizeCamOutLines(&rig.Cam());
        Await([] { return false; });
    };
    EXPECT_DEATH(apply(), "LogicalErrorException");
}

TEST(CtrlThread, WholeSessionWithChangesDetachmentAndReturn)
{
    ThreadRig rig;
    rig.host.ioboxes = {{TD_PIN_OUT1, 1, 2, 1, {100, 500}}, {TD_PIN_OUT2, 1, 3, 2, {1, 2}}};
    std::uint32_t frames = 0;
    rig.host.onCall = [&](std::string_view service) {
        if (service != "KvGi__HaltStop") {
            return;
        }
        ++frames;
        Await([&] { return frames != 45 || rig.Cam().ctrlThreadRunning; });
        rig.host.dynConfig = frames % 3 == 0 ? 1 : 0;
        rig.host.ioboxes[0].parameters[0] = frames;
        if (frames == 20 || frames == 40) { // real time passes until the change is taken
            Await([&] { return !rig.Cam().ioboxApplyReq; });
        }
        if (frames == 40) {
            sim::SetAttached("S0000001", false);
        }
    };
    EXPECT_EQ(KvTdProc(&rig.Cam()), kExitGrabbing) << "the temperature can't be read any more";
    EXPECT_EQ(frames, 40U);
    EXPECT_FALSE(rig.Cam().ctrlThreadRunning);
    for (const char* delay : {"100", "21"}) { // the first change behind a wait is always taken
        EXPECT_THAT(Rig::Of("cam"),
                    testing::Contains(std::string("outputLinePulseDelay=") + delay));
    }
    sim::SetAttached("S0000001", true);
    rig.host.fnum = 5;
    Rig::Clear();
    EXPECT_EQ(KvTdProc(&rig.Cam()), 0);
    EXPECT_EQ(QuickThread::created, 2);
    const Texts logs = Rig::Logs();
    EXPECT_EQ(Count(Between(logs, "Creating", "Using device"), "CtrlThreadStart"), 2U);
    EXPECT_EQ(Count(Between(logs, "scenario is completed", "loop is done"), "Stopping"), 1U);
}
