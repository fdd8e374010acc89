/** The control thread: its start and end, its loop, and the IO-box settings that it applies. */
#include "kv_td_cthr.h"

#include "gev_api.h"
#include "kv_td_excam.h"
#include "kv_td_log.h"
#include "kv_td_thread.h"

#include <algorithm>
#include <unistd.h>

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_cthr";

static constexpr std::uint32_t kPassUs = 2000;
static constexpr std::uint32_t kPassesPerCheck = 250; ///< the camera is looked at every 500 ms
static constexpr std::uint32_t kStopPollUs = 10000;
static constexpr int kStopPolls = 39;
static constexpr int kPriority = 98;

// What the host's codes mean here.
static constexpr std::uint8_t kSourceStrobe = 2;
static constexpr std::uint8_t kSourceStrobe2 = 3;
static constexpr std::uint8_t kSourceUser = 5;
static constexpr std::uint8_t kModeOutput = 1;
static constexpr std::uint8_t kModeInput = 2;
static constexpr std::uint8_t kInverted = 2;
static constexpr std::uint32_t kUnset = 0xFFFFFFFF;
static constexpr std::uint32_t kCommandBitsMax = 32;

static void LogScheduling(const LogSite& site, pthread_t thread, bool isNew)
{
    int policy = 0;
    sched_param parameters{};
    if (pthread_getschedparam(thread, &policy, &parameters) != 0) {
        return;
    }
    if (isNew) {
        KV_LOG_AT(site, 3, "grab ctrl thread new: policy=%i prio=%i", policy,
                  parameters.sched_priority);
    } else {
        KV_LOG_AT(site, 3, "grab ctrl thread default: policy=%i prio=%i", policy,
                  parameters.sched_priority);
    }
}

void CCamCtrlThread::CtrlThreadStart(CExCam* cam)
{
    cam_ = cam;
    cam->ctrlThreadStarted = false;
    cam->ctrlThreadRunning = false;
    cam->ctrlThreadStopReq = false;
    cam->gpioActivity = false;
    cam->ioboxApplyReq = false;
    cam->gpioCmdDone = false;
    cam->gpioCmdValue = kNoGpioCmd;
    cam->gpioInputSet = -1;
    cam->gpioInputEvent = 0;
    cam->gpioInputValue = 0;
    LogScheduling(KV_HERE, pthread_self(), false);

    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setschedpolicy(&attributes, SCHED_FIFO);
    pthread_attr_setinheritsched(&attributes, PTHREAD_EXPLICIT_SCHED);
    sched_param parameters{};
    parameters.sched_priority = kPriority;
    pthread_attr_setschedparam(&attributes, &parameters);
    KV_LOG(3, "Creating ctrl thread...");
    created_ = CreateThread(&cam->ctrlThreadId, &attributes, CtrlThreadFunc, cam) == 0;
    pthread_attr_destroy(&attributes);
    // Deliberate: without the thread the session goes on. CtrlThread.NotCreatedIsNotReported
    cam->ctrlThreadStarted = true;
    if (created_) {
        LogScheduling(KV_HERE, cam->ctrlThreadId, true);
    }
}

CCamCtrlThread::~CCamCtrlThread()
{
    if (cam_ == nullptr || !cam_->ctrlThreadStarted || !created_) {
        return;
    }
    if (cam_->ctrlThreadRunning) {
        KV_LOG(3, "Stopping grab ctrl thread...");
        cam_->ctrlThreadStopReq = true;
        SleepUs(kStopPollUs);
        for (int poll = 0; cam_->ctrlThreadRunning && poll < kStopPolls; ++poll) {
            SleepUs(kStopPollUs);
        }
    } else {
        // Ours: the thread may not have come to run yet; it then ends in its first pass.
        // CtrlThread.StopBeforeItRuns
        cam_->ctrlThreadStopReq = true;
    }
    if (cam_->ctrlThreadRunning) {
        KV_LOG(3, "Cancelling grab ctrl thread...");
        pthread_cancel(cam_->ctrlThreadId);
    }
    pthread_join(cam_->ctrlThreadId, nullptr);
}

void* CCamCtrlThread::CtrlThreadFunc(void* argument)
{
    auto* const cam = static_cast<CExCam*>(argument);
    cam->ctrlThreadRunning = true;
    KV_LOG(3, "starting device detach ctrl thread (PID %u)...", static_cast<unsigned>(getpid()));
    for (std::uint32_t pass = 1;; ++pass) {
        if (cam->ctrlThreadStopReq) {
            cam->ctrlThreadStopReq = false;
            break;
        }
        if (cam->ioboxApplyReq && DoGpioCfg(cam)) {
            cam->ioboxApplyReq = false;
        }
        cam->gpioActivity = false;
        if (pass % kPassesPerCheck == 0) {
            if (GevGetCameraInfo(cam->camHandle) == nullptr) {
                // Deliberate: the grab loop finds out by itself. CtrlThread.DetachmentEndsItAlone
                KV_LOG(3, "device detach is detected by ctrl thread...");
                break;
            }
            KV_LOG(5, "ctrl thread is checking cam");
        }
        SleepUs(kPassUs);
    }
    KV_LOG(3, "ctrl thread loop is done");
    cam->ctrlThreadRunning = false;
    return nullptr;
}

namespace
{

/** Queues a command for a set. False: it has to wait for the one before it. A command without a
 *  length or a value is dropped. */
bool QueueCommand(const LogSite& site, CExCam* cam, int index)
{
    IoBoxSet& set = cam->lineStates[index];
    const std::uint32_t command = set.param1;
    if (set.param0 < 1 || set.param0 > kCommandBitsMax || command == kUnset) {
        return true; // Deliberate: without a word. GpioCmd.WithoutLengthOrValueIsDropped
    }
    cam->gpioActivity = true;
    if (set.pendingCmd != kNoGpioCmd) {
        // Deliberate: nobody sends commands, so this one waits for ever.
        // GpioCmd.SecondOneWaitsBehindTheFirst
        KV_LOG_AT(site, 2,
                  " Cfg IoBox set %u: prev cmd ('%u' 0x%08X) sending is active, skip cmd '%u' "
                  "(0x%08X)",
                  static_cast<unsigned>(index), cam->gpioCmdValue, cam->gpioCmdValue, command,
                  command);
        set.ready = false;
        set.applyPending = true;
        return false;
    }
    set.pendingCmd = command;
    set.cmdBitCount = static_cast<std::uint8_t>(set.param0);
    set.cmdBitsLeft = set.cmdBitCount;
    set.cmdInverted = set.invert == kInverted;
    set.cmdActive = true;
    set.cmdProgress = 0;
    KV_LOG_AT(site, 3, " Cfg IoBox set %u: enqueue gpio cmd '%u' (0x%08X)",
              static_cast<unsigned>(index), command, command);
    cam->gpioCmdDone = false;
    cam->gpioCmdValue = command;
    set.ready = false;
    if (cam->gpioInputSet != -1) {
        cam->lineStates[cam->gpioInputSet].ready = false;
    }
    return true;
}

void AwaitInput(const LogSite& site, CExCam* cam, int index)
{
    IoBoxSet& set = cam->lineStates[index];
    KV_LOG_AT(site, 3, " Cfg IoBox set %u: user input with timeout '%u' (0x%08X) us",
              static_cast<unsigned>(index), set.param0, set.param0);
    set.pendingCmd = kNoGpioCmd;
    set.cmdInverted = set.invert == kInverted;
    cam->gpioActivity = true;
    set.ready = false;
    cam->gpioInputSet = index;
}

void ApplyStrobe(const LogSite& site, CExCam* cam, int index)
{
    IoBoxSet& set = cam->lineStates[index];
    const bool strobe = set.source == kSourceStrobe || set.source == kSourceStrobe2;
    const std::uint32_t limitUs = cam->pulseLimitUs;
    const std::uint32_t durationUs = set.param1 == kUnset ? kUnset : std::min(set.param1, limitUs);
    if (strobe) {
        set.appliedLimitUs = set.param1 == kUnset ? 0 : limitUs;
    }
    KV_LOG_AT(site, 3,
              " Cfg IoBox set %u: Pin %u, Mod %d, Src %d, Inv %d (param[0]=0x%X, param[1]=0x%X)",
              static_cast<unsigned>(index), static_cast<unsigned>(index), set.mode, set.source,
              set.invert, set.param0, durationUs);
    // Deliberate: the set's index, not the host's pin, and "not inverted" is true.
    // Strobe.IsAppliedBySetIndexWithItsPolarity
    cam->ExSetLineModeOutStrobe(static_cast<td_pins>(index), strobe && set.mode == kModeOutput,
                                set.invert != kInverted, set.param0, durationUs);
    set.ready = true;
}

} // namespace

bool CCamCtrlThread::DoGpioCfg(CExCam* cam)
{
    const LogSite site = KV_HERE;
    KV_LOG(4, "IoBox configuration apply handler entry");
    bool done = true;
    for (int index = 0; index < kIoBoxSetCount; ++index) {
        IoBoxSet& set = cam->lineStates[index];
        if (!set.applyPending) {
            continue;
        }
        set.applyPending = false;
        if (cam->gpioInputSet == index) {
            cam->gpioInputSet = -1;
        }
        if (set.source != kSourceUser) {
            ApplyStrobe(site, cam, index);
        } else if (set.mode == kModeOutput) {
            done = QueueCommand(site, cam, index) && done;
        } else if (set.mode == kModeInput) {
            AwaitInput(site, cam, index);
        }
    }
    return done;
}

int CCamCtrlThread::ConfigureLineUserOutput(CExCam* cam, td_pins pin, std::uint8_t invert)
{
    int rc = -1;
    if (pin < kIoBoxSetCount) {
        IoBoxSet& set = cam->lineStates[pin];
        set.mode = kModeOutput;
        set.source = kSourceUser;
        set.invert = invert;
        set.param0 = 10;
        set.param1 = 914;
        set.applyPending = true;
        cam->ioboxApplyReq = true;
        rc = 0;
    }
    KV_LOG(3, "***** Opening GPIO line from ctrl thread: rc=%i *********", rc);
    return rc;
}

} // namespace KvTd
