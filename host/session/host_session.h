/** The implementation of the host services: one object, which the plain functions in services/
 *  call.
 *
 *  It owns none of its parts. Everything is used on the grab thread, except the log, which has a
 *  lock of its own. */
#pragma once

#include "config/config_store.h"
#include "control/control_desk.h"
#include "export/exporter.h"
#include "memory/frame_memory.h"
#include "report/clock_drift.h"
#include "report/dropped_frames.h"
#include "report/frame_trace.h"
#include "report/log.h"
#include "report/progress.h"
#include "report/service_manager.h"
#include "session/capture_times.h"
#include "session/config_reload.h"
#include "session/consumer_report.h"
#include "session/dynamic_lut.h"
#include "session/guard_thread.h"
#include "session/missing_frames.h"
#include "session/replay_end.h"
#include "session/run_report.h"
#include "session/scenario.h"
#include "session/session_timing.h"
#include "session/signal_state.h"
#include "settings/settings_report.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace kvgrab
{

/** The parts that a HostSession uses; all of them outlive it. */
struct HostParts {
    ConfigStore& config;
    SignalState& signals;
    Log& log;
    FrameMemory& memory;
    Exporter& exporter;
    std::function<std::int64_t()> monotonicNs;
    std::function<TransferCounts()> transfers;    ///< of the newest transfer
    std::function<std::int64_t()> wallClockNs;    ///< clock of the frames' time stamps
    FrameTrace* trace = nullptr;                  ///< records the frames; null: no trace
    ServiceManager* manager = nullptr;            ///< null: none
    std::function<std::string()> cameraName = {}; ///< of the open camera
    std::function<FrameFacts()> newestFrame = [] { return FrameFacts(); };
    GuardThread* guard = nullptr;               ///< ends sessions early; null: nobody does
    std::function<bool()> waitsForTrigger = {}; ///< asks the open camera; empty: it never waits
    /** What became of the settings on the open camera; null: nobody looks. */
    std::function<std::vector<JudgedSetting>(const Config&)> judgeSettings = nullptr;
    std::function<float()> cameraRate = nullptr; ///< of the open camera, or kFpsUnset
    bool strict = false;         ///< a setting that the camera doesn't take ends the run
    ControlDesk* desk = nullptr; ///< shows the run to the control socket; null: nobody does
    std::function<ReplayEnd()> replay = {}; ///< of the open camera; empty: it plays nothing back
};

class HostSession
{
public:
    /** Makes this the object that the services reach, until it is destroyed. One at a time. */
    explicit HostSession(HostParts parts);
    ~HostSession();
    HostSession(const HostSession&) = delete;
    HostSession& operator=(const HostSession&) = delete;

    /** The object that the services reach; null while there is none. */
    static HostSession* Current();

    // ---- around a device session ----
    void SessionBegins();
    void SessionEnded();
    /** The session ended because the camera couldn't be used. */
    void SessionFailed() { timing.Failed(); }
    /** See ConfigReload. */
    void OutputLinesChecked(bool checked) { reload_.OutputLinesChecked(checked); }
    /** All frames that the configuration asks for in a run have been grabbed. */
    bool FrameCountReached() const;
    /** About the session that ended. */
    EarlyEnd EndedEarly() const { return endedEarly_; }
    bool NewSessionAsked() const { return newSessionAsked_; }
    std::uint64_t SessionFrames() const { return sessionFrames_; }
    /** A picture can't be written, and the configuration asks to stop in this case. */
    bool ExportFailed() const { return exportFailed_; }
    /** Whether the recording is over that the camera plays back. */
    ReplayEnd Replay() const;

    /** See RunReport. */
    void Waits(std::string_view why)
    {
        report_.Waits(why);
        ShowState(RunState::Waiting, why);
    }
    void Alive() { report_.Alive(); }
    /** What the control socket shows. */
    void ShowState(RunState state, std::string_view sentence);

    // ---- configuration ----
    /** Reads the file again. -1: it can't be used, and the old configuration stays. `*flag` becomes
     *  1 when a change needs a new device session. */
    int Reconfigure(int* flag);
    /** Returns 1 once for each changed file that was accepted and can be applied while grabbing. */
    int CheckDynamic();

    /** The rate for the driver: without one in the configuration, the camera's own. */
    float Rate();
    /** The level of a driver's line. The refusal of a rate that nobody configured is no warning.
     *  Any thread. */
    int LevelOf(int level, std::string_view format) const;

    // ---- frames ----
    /** The driver begins a loop with buffers of `size` bytes. After it has seen the terminate or
     *  has grabbed all frames, it may begin some more loops to finish a dynamic table; beyond these
     *  it gets no buffers, and so ends the session. */
    void PrepareMemory(std::uint32_t size);
    void PrepareInstance(std::uint32_t instance, std::uint32_t size);
    void SetFrameSize(std::uint32_t size);
    void GrabbingBegins();
    void GrabbingEnds();
    void PeriodChanged(std::uint32_t periodUs);
    void FrameGrabbed(float temperature);
    /** A KvTd::ScenarioParam; -1 for an unknown one or a null value. */
    int Publish(std::uint32_t id, const void* value);
    void FrameMissed();
    int Trigger(std::uint32_t instance, std::uint64_t timeUs, const void* image, int flag);
    int Export(std::uint64_t timeUs);
    void SignalAction(int action);
    /** What the driver's round learns: a pending signal, or that the recording is over. */
    KvTd::SignalState CheckSignal();
    /** Frames that the next loop should grab; 0: no limit. */
    std::uint32_t FramesToGrab() const { return framesToGrab_; }
    /** Whether the session ended because it got no more buffers. */
    bool WasKeptFromGoingOn() const { return keptFromGoingOn_; }

    /** The sums of all transfers so far. */
    TransferCounts Transfers() const;
    /** How fast the host's clock gained on the camera's; nothing while that can't be estimated. */
    std::optional<ClockDrift::Estimate> Drift() const;

    HostParts parts;
    Scenario scenario;
    Progress progress;
    SessionTiming timing;
    DynamicLut dynamicLut;
    SettingsNotTaken settingsNotTaken;
    ConsumerReport consumers;
    DroppedFrames droppedFrames;
    int grabState = 0; ///< as last reported by the driver
    /** Called when the driver has opened the camera and not configured it yet. */
    std::function<void()> cameraOpened = [] {};

private:
    void PlanNextLoop();
    void FrameDescribed();
    void ReportDropped(const FrameFacts& newest);
    FrameTrace::Line TraceLine(const FrameFacts& frame, std::uint64_t cameraTicks) const;
    void ShowStatus(std::int64_t nowNs);
    std::string StatusText() const;
    void CheckExporter();
    void EndReplayWithoutFrame(std::int64_t nowNs);
    void LookForTrigger(std::int64_t nowNs);
    void LimitWaiting();
    void CheckSettings();
    void ShareCounts(const TransferCounts& counts);
    bool TakeAskedChange();

    ConfigReload reload_;
    RunReport report_;
    MissingFrames missingFrames_;
    TransferCounts finishedTransfers_;
    std::uint64_t newestFinished_ = 0; ///< number of the newest finished transfer
    std::optional<ClockDrift> drift_;  ///< from the first frame on
    CaptureTimes captureTimes_;
    HostClock hostClock_;
    std::int64_t arrivalNs_ = 0; ///< of the newest frame, on the wall clock
    bool grabbing_ = false;
    std::uint32_t framesToGrab_ = 0;
    std::uint64_t sessionFrames_ = 0;
    unsigned loopsPastTheEnd_ = 0;
    bool newSessionAsked_ = false;
    bool terminateTaken_ = false;
    bool keptFromGoingOn_ = false;
    bool exportFailed_ = false;
    std::atomic<bool> rateIsLeftAlone_ = false; ///< the driver was given no rate
    bool settingsChanged_ = false; ///< the driver applies a change before the next frame
    EarlyEnd endedEarly_ = EarlyEnd::None;
    bool waitsForTrigger_ = false; ///< the camera, when it was last asked
    std::int64_t triggerAskedNs_ = 0;
    bool cameraNamed_ = false; ///< in this device session
};

} // namespace kvgrab
