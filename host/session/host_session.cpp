#include "session/host_session.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace kvgrab
{

namespace
{

HostSession* current = nullptr;

/** Loops that the driver may still begin when it should end: a dynamic table needs five, of one
 *  frame each. */
constexpr unsigned kLoopsPastTheEnd = 8;
/** How often the camera is asked whether it waits for a trigger, while no frames come. */
constexpr std::int64_t kAskForTriggerNs = 1'000'000'000;

} // namespace

HostSession::HostSession(HostParts hostParts)
    : parts(std::move(hostParts)), consumers(parts.memory, parts.log),
      reload_({parts.config, parts.log, parts.signals, dynamicLut}),
      report_({parts.log, parts.manager, parts.monotonicNs, [this] { return StatusText(); }}),
      hostClock_(parts.monotonicNs, parts.wallClockNs)
{
    current = this;
}

HostSession::~HostSession()
{
    current = nullptr;
}

HostSession* HostSession::Current()
{
    return current;
}

void HostSession::SessionBegins()
{
    cameraNamed_ = false;
    report_.SessionBegins();
    newSessionAsked_ = false;
    terminateTaken_ = false;
    keptFromGoingOn_ = false;
    endedEarly_ = EarlyEnd::None;
    sessionFrames_ = 0;
    loopsPastTheEnd_ = 0;
    if (parts.guard != nullptr) {
        parts.guard->SessionBegins();
    }
    TakeAskedChange();
    ShowState(RunState::Opening, "the camera is looked for, and opened");
    PlanNextLoop();
    timing.Begins(parts.monotonicNs());
    dynamicLut.Forget();
    captureTimes_.SessionBegins();
}

void HostSession::SessionEnded()
{
    GrabbingEnds();
    if (parts.guard != nullptr) {
        endedEarly_ = parts.guard->SessionEnds();
    }
    if (parts.desk != nullptr) {
        parts.desk->SetCamera({});
        ShareCounts(finishedTransfers_);
    }
    parts.signals.SessionEnded();
    parts.config.DropForced();
    report_.SessionEnded();
    missingFrames_.FrameCame();
}

bool HostSession::FrameCountReached() const
{
    const std::uint64_t limit = parts.config.Current().session.frames;
    return limit != 0 && progress.Grabbed() >= limit;
}

int HostSession::Reconfigure(int* flag)
{
    parts.signals.ReconfigurationBegins();
    const ReloadResult result = reload_.Reload();
    if (result == ReloadResult::Applied || result == ReloadResult::NewSession) {
        LimitWaiting();
        settingsChanged_ = true;
    }
    if (result == ReloadResult::NewSession) {
        *flag = 1;
    }
    return result == ReloadResult::Refused ? -1 : 0;
}

int HostSession::CheckDynamic()
{
    if (parts.desk != nullptr && parts.desk->Asked()) {
        parts.desk->DoWork();
        if (TakeAskedChange()) {
            return 1;
        }
    }
    if (!reload_.Poll(parts.monotonicNs())) {
        return 0;
    }
    settingsChanged_ = true;
    return 1;
}

void HostSession::PrepareMemory(std::uint32_t size)
{
    const bool shouldEnd = terminateTaken_ || FrameCountReached();
    if (shouldEnd && ++loopsPastTheEnd_ > kLoopsPastTheEnd) {
        keptFromGoingOn_ = true;
        parts.memory.DropBuffers();
        parts.log.Line(2, "the driver goes on although it should end; it gets no buffers, so that "
                          "the session ends");
        return;
    }
    CheckSettings(); // the driver has applied the configuration, and no frame waits yet
    if (!parts.memory.Init(size, parts.config.Buffers())) {
        parts.log.Line(1, fmt::format("no frame memory: {}", parts.memory.Error()));
        return;
    }
    parts.memory.Describe(scenario.width, scenario.height, parts.config.Format() & 0xFF,
                          scenario.codec);
}

/** Finds out which settings the camera did not take. */
void HostSession::CheckSettings()
{
    settingsChanged_ = false;
    Config config = parts.config.Current();
    if (!parts.judgeSettings || parts.config.Format() != config.image.format) {
        return; // for a dynamic table the driver takes some frames in another format
    }
    if (dynamicLut.IsInForce()) {
        config.lut = {};
        config.gamma = {};
    }
    for (const std::string& news : settingsNotTaken.Update(parts.judgeSettings(config))) {
        parts.log.Line(2, news);
    }
    if (parts.desk != nullptr) {
        parts.desk->SetSettingsNotTaken(settingsNotTaken.Lines());
    }
    if (parts.strict && settingsNotTaken.Count() != 0) {
        parts.signals.Raise(KvTd::kSignalQuit, parts.monotonicNs());
    }
}

float HostSession::Rate()
{
    const float configured = parts.config.Current().timing.fps;
    const float rate =
        configured == KvTd::kFpsUnset && parts.cameraRate ? parts.cameraRate() : configured;
    rateIsLeftAlone_ = rate == KvTd::kFpsUnset;
    return rate;
}

int HostSession::LevelOf(int level, std::string_view format) const
{
    constexpr int kWarning = 2;
    constexpr int kInfo = 3;
    const bool ofTheRate = level == kWarning && format.starts_with("  asked Fps val");
    return ofTheRate && rateIsLeftAlone_ ? kInfo : level;
}

void HostSession::PrepareInstance(std::uint32_t instance, std::uint32_t size)
{
    if (!parts.memory.InstanceInit(instance, size)) {
        parts.log.Line(1, fmt::format("no memory instance {}: {}", instance, parts.memory.Error()));
    }
}

void HostSession::SetFrameSize(std::uint32_t size)
{
    parts.memory.SetActFsize(size);
    parts.exporter.Prepare(size);
}

void HostSession::GrabbingBegins()
{
    grabbing_ = true;
    report_.GrabbingBegins();
    ShowState(RunState::Grabbing, "the camera is grabbed from");
    if (parts.desk != nullptr) {
        parts.desk->CameraIsReady();
    }
    if (parts.cameraName && !std::exchange(cameraNamed_, true)) {
        parts.log.Line(3, fmt::format("grabs from {}, {} x {} pixels, {}", parts.cameraName(),
                                      scenario.width, scenario.height, scenario.codec));
    }
    timing.Configured(parts.monotonicNs());
    if (parts.trace != nullptr) {
        parts.trace->AcquisitionStarts(parts.wallClockNs() / 1000);
    }
    if (parts.guard != nullptr) {
        const std::int64_t now = parts.monotonicNs();
        LookForTrigger(now);
        parts.guard->GrabbingBegins(now);
    }
}

/** For cameras whose frames come when something triggers them. */
void HostSession::LookForTrigger(std::int64_t nowNs)
{
    triggerAskedNs_ = nowNs;
    waitsForTrigger_ = parts.waitsForTrigger && parts.waitsForTrigger();
    LimitWaiting();
}

/** Sets for the guard how long frames may stay away. */
void HostSession::LimitWaiting()
{
    if (parts.guard != nullptr) {
        parts.guard->SetNoFramesLimit(NoFramesLimitNs(parts.config.Current().session.noFramesS,
                                                      progress.PeriodUs(), waitsForTrigger_));
    }
}

void HostSession::PeriodChanged(std::uint32_t periodUs)
{
    progress.SetPeriodUs(periodUs);
    LimitWaiting();
}

void HostSession::GrabbingEnds()
{
    if (parts.desk != nullptr) {
        parts.desk->CameraCloses();
    }
    if (grabbing_) {
        grabbing_ = false;
        if (parts.guard != nullptr) {
            parts.guard->GrabbingEnds();
        }
        const TransferCounts counts = parts.transfers();
        // A loop without a transfer of its own sees the counts of the transfer before.
        if (counts.number != newestFinished_) {
            finishedTransfers_ += counts;
            newestFinished_ = counts.number;
        }
    }
    PlanNextLoop();
}

/** Gives the next loop the rest of the frame count, which is that of the whole run; at least 1,
 *  since 0 would mean no limit. */
void HostSession::PlanNextLoop()
{
    const std::uint64_t limit = parts.config.Current().session.frames;
    const std::uint64_t left = limit - std::min(limit, progress.Grabbed());
    framesToGrab_ = limit == 0 ? 0 : static_cast<std::uint32_t>(std::max<std::uint64_t>(left, 1));
}

TransferCounts HostSession::Transfers() const
{
    TransferCounts all = finishedTransfers_;
    if (grabbing_) {
        const TransferCounts counts = parts.transfers();
        if (counts.number != newestFinished_) {
            all += counts;
        }
    }
    return all;
}

void HostSession::FrameGrabbed(float temperature)
{
    const std::int64_t now = parts.monotonicNs();
    parts.signals.RoundHadFrame();
    parts.memory.CountRound();
    ++sessionFrames_;
    if (parts.guard != nullptr) {
        parts.guard->FrameGrabbed(now);
    }
    arrivalNs_ = parts.wallClockNs();
    ReportDropped(parts.newestFrame());
    if (settingsChanged_) {
        CheckSettings();
    }
    const std::string timed = timing.Frame(now);
    if (!timed.empty()) {
        parts.log.Line(3, timed);
    }
    progress.FrameGrabbed(now, temperature);
    consumers.Look();
    if (missingFrames_.FrameCame()) {
        parts.log.Line(missingFrames_.Level(), "frames are coming again");
        ShowState(RunState::Grabbing, "the camera is grabbed from");
    }
    ShowStatus(now);
    CheckExporter();
}

void HostSession::FrameMissed()
{
    const std::int64_t now = parts.monotonicNs();
    parts.signals.RoundMissed();
    parts.memory.CountRound();
    progress.FrameMissed(now);
    ReportDropped(parts.newestFrame());
    const TransferCounts counts = parts.transfers();
    if (missingFrames_.Missed(now, counts, waitsForTrigger_)) {
        const std::string reason = missingFrames_.Reason(counts);
        parts.log.Line(missingFrames_.Level(),
                       fmt::format("waiting for frames: the camera is open, but {} waits in a "
                                   "row brought no complete frame{}{}",
                                   missingFrames_.InRow(), reason.empty() ? "" : ": ", reason));
        ShowState(RunState::NoFrames, reason.empty() ? "no complete frame comes" : reason);
    }
    if (parts.guard != nullptr && now - triggerAskedNs_ >= kAskForTriggerNs) {
        LookForTrigger(now);
    }
    ShowStatus(now);
    CheckExporter();
    EndReplayWithoutFrame(now);
    if (parts.desk != nullptr && parts.desk->Asked()) {
        parts.desk->DoWork();
    }
}

void HostSession::ShowStatus(std::int64_t nowNs)
{
    if (progress.StatusDue(nowNs)) {
        report_.ShowStatus();
        ShareCounts(Transfers());
    }
}

std::string HostSession::StatusText() const
{
    const Config& config = parts.config.Current();
    const TransferCounts counts = Transfers();
    const ExportCounters written = parts.exporter.Counters();
    StatusValues values;
    values.pictures = {config.exporting.format != "none", written.exported, written.skipped,
                       written.failed, config.exporting.directory};
    values.framesWanted = config.session.frames;
    values.gainDb = scenario.frame.gainDb;
    values.exposureUs = scenario.frame.exposureUs;
    values.frameBytes = parts.memory.ActFsize();
    values.dropped = counts.Dropped();
    values.packetsResent = counts.packetsResent;
    values.packetsMissing = counts.packetsMissing;
    values.settingsNotTaken = settingsNotTaken.Count();
    return progress.StatusLine(values);
}

void HostSession::CheckExporter()
{
    if (!exportFailed_ && parts.exporter.Failed()) {
        exportFailed_ = true;
        parts.log.Line(1, "ending, as configured, because a picture can't be written");
        parts.signals.Raise(KvTd::kSignalQuit, parts.monotonicNs());
    }
}

std::optional<ClockDrift::Estimate> HostSession::Drift() const
{
    return drift_ ? drift_->Fit() : std::nullopt;
}

int HostSession::Publish(std::uint32_t id, const void* value)
{
    const int result = scenario.Set(id, value);
    if (result == 0 && id == KvTd::kParamCodec) {
        timing.Opened(parts.monotonicNs());
    }
    if (result == 0 && id == KvTd::kParamFrameCounter) {
        FrameDescribed();
    }
    return result;
}

int HostSession::Trigger(std::uint32_t instance, std::uint64_t timeUs, const void* image, int flag)
{
    return parts.memory.Trigger(instance, timeUs, image, flag, scenario.frame);
}

int HostSession::Export(std::uint64_t timeUs)
{
    const void* image = parts.memory.HeldImage();
    if (image == nullptr) {
        return -1;
    }
    FrameView view;
    view.pixels = image;
    view.bytes = parts.memory.ActFsize();
    view.width = scenario.width;
    view.height = scenario.height;
    view.codec = scenario.codec;
    view.timeUs = timeUs;
    view.cameraTicks = scenario.frame.cameraTicks;
    view.frameCounter = scenario.frame.frameCounter;
    view.gainDb = scenario.frame.gainDb;
    view.exposureUs = scenario.frame.exposureUs;
    view.cameraFrameNumber = scenario.frame.cameraFrameNumber;
    view.captureTimeNs = scenario.frame.captureTimeNs;
    view.periodUs = progress.PeriodUs();
    if (parts.guard != nullptr) {
        parts.guard->Pause(); // with export.every_frame it may take as long as the disk
    }
    const ExportResult result = parts.exporter.Export(view);
    if (parts.guard != nullptr) {
        parts.guard->Resume(parts.monotonicNs());
    }
    parts.memory.Release();
    return result == ExportResult::kFailed ? -1 : 0;
}

void HostSession::SignalAction(int action)
{
    newSessionAsked_ = newSessionAsked_ || action == KvTd::kSignalReconfigure;
    terminateTaken_ =
        terminateTaken_ || action == KvTd::kSignalTerminate || action == KvTd::kSignalQuit;
}

} // namespace kvgrab
