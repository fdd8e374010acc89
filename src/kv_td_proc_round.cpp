/** One round of the grab loop.
 *
 *      wait ─► signal state ─► missed? ── yes ─► report, count, every 1000th: still alive? ─► next
 *                                 │ no
 *                                 ▼
 *      temperature ─► report ─► user signal, dynamic LUT ─► gain, exposure, ticks, counter
 *        ─► stamp ─► trigger and export (from the second frame on) ─► pace ─► announce the next
 *        ─► signal ─► stop, frame count reached, or release ─► next
 *
 *  Time budgets are compared with the frame period and only logged. */
#include "gev_api.h"
#include "kv_host_services.h"
#include "kv_td_excam.h"
#include "kv_td_log.h"
#include "kv_td_nodes.h"
#include "kv_td_proc.h"
#include "kv_td_prof.h"
#include "kv_td_time.h"
#include "util/units.h"

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_proc";
static constexpr LogSite kProcLoop{kLogSource, "ProcLoop"}; ///< the operation that rounds belong to

static constexpr std::uint32_t kWaitMs = 1000;
static constexpr int kGrabbing = 4; ///< grab state reported to the host
static constexpr std::uint32_t kDropsToReport = 1000;
static constexpr std::uint32_t kDropsToCheck = 5000;

/** In degrees Celsius; -321 when the camera has no such float. Turns the selector to "Internal"
 *  where there is one. */
static float ReadTemperature(const CExCam* cam)
{
    SelectInternalTemperature(cam->nodeMap);
    const auto node = FindNode<GenApi::CFloatPtr>(cam->nodeMap, "DeviceTemperature");
    return node ? static_cast<float>(node->GetValue()) : kNoTemperature;
}

/** Microseconds since the frame arrived, low 32 bits. */
static std::uint32_t MicrosecondsSince(std::uint64_t hostGotUs)
{
    return static_cast<std::uint32_t>(MicrosecondsOf(TimeOfDay()) - hostGotUs);
}

/** The frame's camera time: its stamp, or its two halves when the stamp is 0. */
static std::uint64_t TicksOf(const _tag_GEVBUF_ENTRY* frame)
{
    if (frame->timestamp != 0) {
        return frame->timestamp;
    }
    return std::uint64_t{frame->timestampHigh} << 32 | frame->timestampLow;
}

CCamProc::Round CCamProc::runRound(CExCam* cam, LoopRun& run, int& rc)
{
    ++run.loops;
    _tag_GEVBUF_ENTRY* frame = nullptr;
    ProfWaitStart();
    const int status = GevWaitForNextFrame(cam->camHandle, &frame, kWaitMs);
    const timeval hostGot = TimeOfDay();
    ProfWaitEnd(hostGot);
    ProfRound(kProcLoop);
    ProcLookSignal();
    if (frame == nullptr || status != 0 || frame->address == nullptr) {
        return missedFrame(cam, run, frame, status, rc);
    }
    return goodFrame(cam, run, frame, MicrosecondsOf(hostGot), rc);
}

CCamProc::Round CCamProc::missedFrame(CExCam* cam, LoopRun& run, _tag_GEVBUF_ENTRY* frame,
                                      int status, int& rc)
{
    static std::uint32_t _s_dropCntrLast; // both at the last report, also of an earlier loop
    static std::uint32_t _s_loopsLast;

    const float temperature = ReadTemperature(cam);
    KvGi__HaltUpdate(roiWidth, roiHeight, temperature);
    ++run.drops;
    if (run.drops % kDropsToReport == 0) {
        KV_LOG_AT(kProcLoop, 2, "Frames Drop trigger: Loop_%u(ok_%u dropCntr_%u)", run.loops,
                  run.frames, run.drops);
        if (run.drops % kDropsToCheck == 0) {
            KV_LOG_AT(kProcLoop, 2, "error description: 0x%08X", static_cast<unsigned>(status));
            if (run.loops - _s_loopsLast <= run.drops - _s_dropCntrLast) {
                cam->ExStopCapture();
                rc = kExitGrabbing;
                return Round::End;
            }
        }
        _s_dropCntrLast = run.drops;
        _s_loopsLast = run.loops;
    }
    if (frame != nullptr) {
        GevReleaseFrame(cam->camHandle, frame);
    }
    return Round::GoOn;
}

CCamProc::Round CCamProc::goodFrame(CExCam* cam, LoopRun& run, _tag_GEVBUF_ENTRY* frame,
                                    std::uint64_t hostGotUs, int& rc)
{
    const float temperature = ReadTemperature(cam);
    KvGi__HaltStop(frame->width, frame->height, temperature);
    if (run.frames % run.stateDivider == 0) {
        KvUtl__UpdateGrabState(kGrabbing);
    }
    ++run.frames;
    currImage = frame->address;
    ProcSignalUsr(run.frames);
    ProcDynamLut(cam);
    takeUpDynamLutRequest();

    FrameTimes times;
    times.hostGotUs = hostGotUs;
    times.camTsUs = ProcFrameChunks(cam, frame);
    if (run.frames == 1) {
        times.firstTsUs = MicrosecondsOfTicks(TicksOf(frame), tickFrequency);
    }
    times.fps = fps;
    times.framePeriodUs = framePeriodUs;
    times.latencyUs = latencyUs;
    times.exposureUs = exposureUs;
    times.tsAdjNs = tsAdjNs;
    const std::uint64_t frameTsUs = run.frames == 1
                                        ? handleFirstFrame(run, times)
                                        : handleLaterFrame(cam, run, times, frame->address);

    bool stop = false;
    rc = ProcSignal(cam, run.frames, &stop);
    const std::uint32_t total = MicrosecondsSince(hostGotUs);
    if (total >= framePeriodUs) {
        KV_LOG_AT(kProcLoop, 3, "total time budget is over (%uus >= %uus), frame %llu", total,
                  framePeriodUs, static_cast<unsigned long long>(frameTsUs));
    }
    if (stop) {
        return Round::End; // the frame goes with the transfer
    }
    if (run.frameLimit != 0 && run.frames >= run.frameLimit) {
        cam->ExStopCapture();
        return Round::End;
    }
    GevReleaseFrame(cam->camHandle, frame);
    run.clock.Released(times);
    return Round::GoOn;
}

/** Takes the initial timings and, in REGULAR mode, announces the next frame. The first frame is
 *  never exported and has no stamp. Returns 0, which represents that. */
std::uint64_t CCamProc::handleFirstFrame(LoopRun& run, const FrameTimes& times)
{
    const FrameClock::InitTimings init = run.clock.First(times, run.loops - 1);
    KV_LOG_AT(kProcLoop, 3,
              "Init timings: latencyUs=%i, tsDiffAdjUs=%llu, diffCheck=%llu (btsFGotUs=%llu, "
              "btsFStartUs=%llu)",
              init.startLatencyUs, static_cast<unsigned long long>(init.tsDiffAdjUs),
              static_cast<unsigned long long>(init.diffCheckUs),
              static_cast<unsigned long long>(times.firstTsUs),
              static_cast<unsigned long long>(times.camTsUs));
    const std::uint64_t frameTsUs = run.clock.frameTsUs();
    if (tsAdjNs == 0) {
        announceNext(run, times);
    }
    return frameTsUs;
}

/** Stamps, triggers and exports the frame, checks its pace and announces the next one. Returns the
 *  frame's stamp. */
std::uint64_t CCamProc::handleLaterFrame(CExCam* cam, LoopRun& run, const FrameTimes& times,
                                         void* image)
{
    const FrameClock::Arrival arrival = run.clock.Arrived(times, run.frames == 2);
    if (arrival.wrapped) {
        KV_LOG_AT(kProcLoop, 3, "Loop_%u(%u): bTS wrap is detected: old %lluus, new %lluus",
                  run.frames, run.loops, static_cast<unsigned long long>(arrival.prevCamTsUs),
                  static_cast<unsigned long long>(times.camTsUs));
    }
    if (arrival.initTrigger) {
        KV_LOG_AT(kProcLoop, 3,
                  "Loop_%u(%u): init TS trigger oldD=%llu, newD=%llu, oldFTS=%llu, newFTS=%llu",
                  run.frames, run.loops, static_cast<unsigned long long>(arrival.oldDiffUs),
                  static_cast<unsigned long long>(arrival.newDiffUs),
                  static_cast<unsigned long long>(arrival.oldFrameTsUs),
                  static_cast<unsigned long long>(arrival.newFrameTsUs));
    }
    const std::uint64_t frameTsUs = run.clock.frameTsUs();

    pendingFrame = image;
    ProfWriteStart();
    const int refused = ProcLoopMem(frameTsUs, 0);
    const std::uint32_t writeUs = ProfWriteEnd();
    if (writeUs >= framePeriodUs) {
        KV_LOG_AT(kProcLoop, 2, "Loop_%u(%u): Frame %llu export time budget is over (%uus >= %uus)",
                  run.frames, run.loops, static_cast<unsigned long long>(frameTsUs), writeUs,
                  framePeriodUs);
    }
    KvSc__SetParamVal(kParamFrameTime, &frameTsUs);
    if (refused == 0) {
        exportFrame(cam, frameTsUs);
    }
    const std::uint32_t sceneUs = MicrosecondsSince(times.hostGotUs);
    if (sceneUs >= framePeriodUs) {
        KV_LOG_AT(kProcLoop, 3, "Loop_%u(%u): Scene %llu export time budget is over (%uus >= %uus)",
                  run.frames, run.loops, static_cast<unsigned long long>(frameTsUs), sceneUs,
                  framePeriodUs);
    }
    checkPace(run, times);
    announceNext(run, times);
    return frameTsUs;
}

/** Exports the frame. After a user input, its event and value go to the host before that, and the
 *  value again as 0 behind it. */
void CCamProc::exportFrame(CExCam* cam, std::uint64_t frameTsUs)
{
    const std::uint32_t input = cam->gpioInputValue;
    if (input != 0) {
        KVSCUVAL::_s_valU32 = cam->gpioInputEvent;
        KvSc__SetParamVal(kParamGpioInputEvent, &KVSCUVAL::_s_valU32);
        KVSCUVAL::_s_valU32 = input;
        KvSc__SetParamVal(kParamGpioInputValue, &KVSCUVAL::_s_valU32);
    }
    KvSc__ProcExport(frameTsUs);
    if (input != 0) {
        cam->gpioInputEvent = 0;
        cam->gpioInputValue = 0;
        KVSCUVAL::_s_valU32 = 0;
        KvSc__SetParamVal(kParamGpioInputValue, &KVSCUVAL::_s_valU32);
    }
}

void CCamProc::checkPace(LoopRun& run, const FrameTimes& times)
{
    const FrameClock::Pace pace = run.clock.CheckPace(times);
    const auto lag = static_cast<std::uint32_t>(pace.lagUs);
    if (pace.fast) {
        KV_LOG_AT(kProcLoop, 3, "Loop_%u(%u): cam is Fast (%uus < %uus), TS readjusting...",
                  run.frames, run.loops, lag, static_cast<unsigned>(pace.fastLimitUs));
    }
    if (pace.slow) {
        KV_LOG_AT(kProcLoop, 3,
                  "Loop_%u(%u): cam is Slow or frames delaying (%u >= %u), TS readjusting...",
                  run.frames, run.loops, lag, static_cast<unsigned>(pace.slowLimitUs));
    }
    if (pace.extraSlow) {
        KV_LOG_AT(kProcLoop, 2,
                  "Loop_%u(%u): cam is extra-Slow or frames delay (%u >= %u), TS readjusting...",
                  run.frames, run.loops, lag, static_cast<unsigned>(pace.extraSlowLimitUs));
    }
}

void CCamProc::announceNext(LoopRun& run, const FrameTimes& times)
{
    const FrameClock::Next next = run.clock.NextFrame(times);
    if (next.overflow) {
        KV_LOG_AT(kProcLoop, 3, "Loop_%u(%u): sync adjust us value %i overflow protection trigger",
                  run.frames, run.loops, next.adjUs);
    }
    KvGi__CommTriggerAll(run.clock.frameTsUs(), latencyUs, static_cast<std::uint32_t>(exposureUs));
}

} // namespace KvTd
