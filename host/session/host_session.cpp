#include "session/host_session.h"

#include "report/no_frames.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace kvgrab
{

namespace
{

HostSession* current = nullptr;

/** The argument for WaitNotice; frames are the only thing that is waited for in here. */
constexpr int kWaitsForFrames = 1;
/** Rounds without a frame, in a row, before it is reported: a single lost frame isn't worth a
 *  message. */
constexpr unsigned kMissesToTell = 3;
/** Loops that the driver may still begin when it should end: a dynamic table needs five, of one
 *  frame each. */
constexpr unsigned kLoopsPastTheEnd = 8;
/** How often the camera is asked whether it waits for a trigger, while no frames come. */
constexpr std::int64_t kAskForTriggerNs = 1'000'000'000;

} // namespace

HostSession::HostSession(HostParts hostParts)
    : parts(std::move(hostParts)), hostClock_(parts.monotonicNs, parts.wallClockNs)
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
    if (waitsFor_.empty()) {
        TellStatus("opening the camera", false);
    }
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
    parts.log.SetStatus("");
    missesInRow_ = 0;
    noFramesReported_ = false;
    noFrames_.Over();
}

void HostSession::Waits(std::string_view why)
{
    waitsFor_ = fmt::format("waiting: {}", why);
    parts.log.SetStatus(waitsFor_);
    TellStatus(waitsFor_, true);
    ShowState(RunState::Waiting, why);
}

void HostSession::Alive()
{
    constexpr std::int64_t kHourNs = 3600 * 1'000'000'000LL;
    const std::int64_t now = parts.monotonicNs();
    if (parts.manager != nullptr) {
        parts.manager->Alive(now);
    }
    parts.log.CatchUp();
    if (hourBeganNs_ == 0) {
        hourBeganNs_ = now;
    } else if (now - hourBeganNs_ >= kHourNs) {
        hourBeganNs_ = now;
        parts.log.Line(3, waitsFor_.empty() ? StatusText()
                                            : fmt::format("{}; {}", StatusText(), waitsFor_));
    }
}

void HostSession::TellStatus(const std::string& text, bool urgent)
{
    if (parts.manager != nullptr) {
        parts.manager->Status(parts.monotonicNs(), text, urgent);
    }
}

bool HostSession::FrameCountReached() const
{
    const std::uint64_t limit = parts.config.Current().session.frames;
    return limit != 0 && progress.Grabbed() >= limit;
}

void HostSession::ReportWarnings(const ConfigStore::Result& result)
{
    for (const std::string& warning : result.warnings) {
        parts.log.Line(2, warning);
    }
    if (!result.changes.restart.empty()) {
        parts.log.Line(2, fmt::format("changed, but kept as it was until kvgrab starts again: {}",
                                      Listed(result.changes.restart)));
    }
}

int HostSession::Reconfigure(int* flag)
{
    parts.signals.ReconfigurationBegins();
    if (parts.config.Path().empty()) {
        const int level = parts.log.HasFile() ? 3 : 2; // HUP also means that a log file is rotated
        parts.log.Line(level, "asked to read the configuration again, but kvgrab was started "
                              "without a configuration file (--config)");
        return 0;
    }
    const ConfigStore::Result result = parts.config.Reload();
    if (!result.usable) {
        parts.log.Line(1, fmt::format("the old configuration stays, the new one can't be used: {}",
                                      result.error));
        return -1;
    }
    parts.log.SetLevel(parts.config.Current().log.level);
    parts.log.Line(3, "the configuration file was read again");
    ReportWarnings(result);
    LimitWaiting();
    ForgetTableIfChanged(result.changes);
    settingsChanged_ = true;
    if (!result.changes.newSession.empty()) {
        *flag = 1;
        parts.log.Line(3, fmt::format("a new device session is needed, because these changed: {}",
                                      Listed(result.changes.newSession)));
    } else if (OutputLinesNeedACheck()) {
        *flag = 1;
        parts.log.Line(3, "a new device session is needed, to check the camera's output lines "
                          "before they are set");
    }
    return 0;
}

int HostSession::CheckDynamic()
{
    if (parts.desk != nullptr && parts.desk->Asked()) {
        parts.desk->DoWork();
        if (TakeAskedChange()) {
            return 1;
        }
    }
    const auto news = parts.config.Poll(parts.monotonicNs());
    if (!news) {
        return 0;
    }
    if (!news->usable) {
        parts.log.Line(
            2, fmt::format("the configuration file changed, but the old configuration stays: {}",
                           news->error));
        return 0;
    }
    if (!news->adopted) {
        std::vector<std::string> waiting = news->changes.reload;
        waiting.insert(waiting.end(), news->changes.newSession.begin(),
                       news->changes.newSession.end());
        waiting.insert(waiting.end(), news->changes.restart.begin(), news->changes.restart.end());
        parts.log.Line(2, fmt::format("the configuration file changed, but some changes are only "
                                      "applied on the signal HUP: {}",
                                      Listed(waiting)));
        return 0;
    }
    ReportWarnings(*news);
    ForgetTableIfChanged(news->changes);
    if (OutputLinesNeedACheck()) {
        parts.signals.Raise(KvTd::kSignalReconfigure); // Reconfigure then asks for a new session
        return 0;
    }
    parts.log.Line(3, fmt::format("the configuration file changed, applying: {}",
                                  Listed(news->changes.dynamic)));
    settingsChanged_ = true;
    return 1;
}

/** The dynamic table is gone once the driver writes another table or switches gamma. */
void HostSession::ForgetTableIfChanged(const ConfigChanges& changes)
{
    for (const std::string& table : changes.dynamic) {
        if (table == "lut" || table == "gamma") {
            dynamicLut.Forget();
        }
    }
}

bool HostSession::OutputLinesNeedACheck() const
{
    return !outputLinesChecked_ && DrivesOutputLines(parts.config.Current());
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
        parts.signals.Raise(KvTd::kSignalQuit);
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
    ShowState(RunState::Grabbing, "the camera is grabbed from");
    if (parts.desk != nullptr) {
        parts.desk->CameraIsReady();
    }
    waitsFor_.clear();
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

/** Tells the guard for how long frames may stay away. */
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
    if (settingsChanged_) {
        CheckSettings();
    }
    const std::string timed = timing.Frame(now);
    if (!timed.empty()) {
        parts.log.Line(3, timed);
    }
    progress.FrameGrabbed(now, temperature);
    if (noFramesReported_) {
        parts.log.Line(2, "frames are coming again");
        ShowState(RunState::Grabbing, "the camera is grabbed from");
        noFramesReported_ = false;
    }
    missesInRow_ = 0;
    noFrames_.Over();
    ShowStatus(now);
    CheckExporter();
}

void HostSession::FrameMissed()
{
    const std::int64_t now = parts.monotonicNs();
    parts.signals.RoundMissed();
    parts.memory.CountRound();
    progress.FrameMissed(now);
    if (++missesInRow_ == 1) {
        atFirstMiss_ = parts.transfers();
    }
    if (missesInRow_ >= kMissesToTell && noFrames_.Due(kWaitsForFrames, now)) {
        noFramesReported_ = true;
        const std::string reason = NoFramesReason(atFirstMiss_, parts.transfers());
        parts.log.Line(2, fmt::format("waiting for frames: the camera is open, but {} waits in a "
                                      "row brought no complete frame{}{}",
                                      missesInRow_, reason.empty() ? "" : ": ", reason));
        ShowState(RunState::NoFrames, reason.empty() ? "no complete frame comes" : reason);
    }
    if (parts.guard != nullptr && now - triggerAskedNs_ >= kAskForTriggerNs) {
        LookForTrigger(now);
    }
    ShowStatus(now);
    CheckExporter();
    if (parts.desk != nullptr && parts.desk->Asked()) {
        parts.desk->DoWork();
    }
}

void HostSession::ShowStatus(std::int64_t nowNs)
{
    if (progress.StatusDue(nowNs)) {
        const std::string status = StatusText();
        parts.log.SetStatus(status);
        TellStatus(status, false);
        Alive();
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

/** The driver publishes the frame counter last, so all of the frame's values are known now. */
void HostSession::FrameDescribed()
{
    const std::int64_t arrivalNs = captureTimes_.Complete(
        &scenario.frame, parts.newestFrame(), scenario.tickNs, arrivalNs_, hostClock_.Read());
    const std::string clockWasSet = captureTimes_.Notice(parts.monotonicNs());
    if (!clockWasSet.empty()) {
        parts.log.Line(2, clockWasSet);
    }
    if (scenario.tickNs == 0) {
        return;
    }
    if (!drift_) {
        drift_.emplace(scenario.tickNs);
    }
    drift_->Frame(static_cast<std::int64_t>(scenario.frame.cameraTicks * scenario.tickNs),
                  arrivalNs);
    if (parts.trace != nullptr) {
        parts.trace->Frame(
            arrivalNs_ / 1000, scenario.frame.cameraTicks,
            {scenario.tickNs, progress.PeriodUs(), static_cast<float>(scenario.frame.exposureUs)});
    }
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
