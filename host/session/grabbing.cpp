#include "session/grabbing.h"

#include "base/printable.h"
#include "base/write_all.h"
#include "cameras/chosen_camera.h"
#include "cameras/listing.h"
#include "cameras/network_checks.h"
#include "cameras/open_camera.h"
#include "cameras/output_lines.h"
#include "cameras/realtime.h"
#include "cameras/replay.h"
#include "control/camera_access.h"
#include "export/frame_stream.h"
#include "gev_host.h"
#include "report/failure.h"
#include "report/journal.h"
#include "report/story.h"
#include "session/export_options.h"
#include "session/monotonic.h"
#include "settings/camera_settings.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <exception>
#include <fmt/format.h>
#include <poll.h>
#include <sstream>
#include <unistd.h>
#include <utility>

namespace kvgrab
{

namespace
{

timespec Now(clockid_t clock)
{
    timespec now = {};
    clock_gettime(clock, &now);
    return now;
}

std::int64_t NanosecondsOf(const timespec& time)
{
    return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
}

std::int64_t WallClockNs()
{
    return NanosecondsOf(Now(CLOCK_REALTIME));
}

/** The source, whose configurations the desk receives. */
ConfigSource ToldTo(ControlDesk* desk, ConfigSource source)
{
    source.adopted = [desk](const Config& config) { desk->SetConfig(config); };
    return source;
}

std::string DriftLine(const ClockDrift::Estimate& drift)
{
    // One microsecond per second; a minute of frames is typically ten times as accurate.
    constexpr double kSureEnoughNsPerS = 1000;
    const std::string measured = fmt::format(
        "clocks: the host's clock gained {:.0f} ns per second on the camera's (give or take "
        "{:.0f}, over {:.0f} s)",
        drift.nsPerS, drift.uncertainNsPerS, drift.seconds);
    if (drift.uncertainNsPerS > kSureEnoughNsPerS) {
        return fmt::format("{}; a longer run is needed to choose timing.drift_ns_per_s\n",
                           measured);
    }
    return fmt::format("{}; timing.drift_ns_per_s = {:.0f} stamps frames by the camera's clock\n",
                       measured, drift.nsPerS);
}

/** After a signal, a terminal that was stopped or a pipe that nobody reads is not waited for. */
void Print(const std::string& text, bool terminating)
{
    constexpr int kWaitMs = 300;
    pollfd waiting = {STDOUT_FILENO, POLLOUT, 0};
    if (!terminating || poll(&waiting, 1, kWaitMs) != 0) {
        std::fputs(text.c_str(), stdout);
    }
}

} // namespace

Grabbing::Grabbing(const Options& options, ConfigSource source)
    : options_(options), config_(ToldTo(&desk_, std::move(source))),
      manager_(ServiceManager::FromEnvironment())
{
}

Grabbing::~Grabbing()
{
    if (std::uncaught_exceptions() > 0 && log_) {
        log_->FileLine(1, EndLine(ExitStatus::Internal, "an unexpected error"));
    }
}

ExitStatus Grabbing::Run()
{
    const bool ready = ReadConfiguration() && TakeOutput() && OpenLog() && CatchSignals() &&
                       FindCameras() && LoadDriver() && OpenMemory() && StartExport() &&
                       OpenTrace();
    if (!ready) {
        return status_;
    }
    OpenControlSocket();
    GiveAdvice();
    manager_.Ready("opening the camera");
    const std::int64_t beginNs = MonotonicNs();
    NextStep last = RunSessions();
    Finish(&last);
    PrintSummary(MonotonicNs() - beginNs);
    return SayWhyItEnds(last);
}

bool Grabbing::Fails(ExitStatus status, std::string_view why)
{
    status_ = Fail(status, why);
    if (log_) {
        log_->FileLine(1, EndLine(status, why));
    }
    return false;
}

bool Grabbing::ReadConfiguration()
{
    ConfigStore::Result loaded = config_.Reload();
    if (!loaded.usable) {
        return Fails(ExitStatus::Configuration, loaded.error);
    }
    start_ = config_.Current();
    startWarnings_ = std::move(loaded.warnings);
    return true;
}

/** Before anything is printed: frames on standard output have it for themselves. */
bool Grabbing::TakeOutput()
{
    if (start_.exporting.format != "-") {
        return true;
    }
    std::string error;
    streamFd_ = TakeStandardOutput(&error);
    return streamFd_ >= 0 || Fails(ExitStatus::ExportFailed, error);
}

bool Grabbing::OpenLog()
{
    log_.emplace(STDERR_FILENO, !options_.noStatus && isatty(STDERR_FILENO) != 0, start_.log.level,
                 [] { return Now(CLOCK_REALTIME); });
    log_->SetView({options_.verbose, IsJournal(STDERR_FILENO)});
    std::string error;
    if (!start_.log.file.empty() && !log_->OpenFile(start_.log.file, &error)) {
        return Fails(ExitStatus::SetUp, error);
    }
    log_->Line(3, StartLine(options_.configPath, start_));
    for (const std::string& warning : startWarnings_) {
        log_->Line(2, warning);
    }
    return true;
}

bool Grabbing::FindCameras()
{
    platformLog_.emplace(*log_);
    features_.emplace(*log_);
    std::string error;
    if (options_.replayFolder) {
        return true; // the only camera is there already
    }
    return SetUpCameras(start_.cameras, start_.network,
                        FromConfigFolder(start_.simulation.network, options_.configPath), &error) ||
           Fails(ExitStatus::SetUp, error);
}

bool Grabbing::LoadDriver()
{
    std::string error;
    return driver_.Load(options_.driverPath, &error) || Fails(ExitStatus::Driver, error);
}

/** From here on a second INT may come at any time and clean up memory and exporter, even if they
 *  are still closed. */
bool Grabbing::CatchSignals()
{
    exporter_.emplace(ExportOptionsFrom(start_.exporting, streamFd_, &*log_));
    guard_.emplace(GuardThread::Parts{
        .signals = &signals_,
        .interrupt = InterruptCameras,
        .interrupted =
            [this](EarlyEnd why) {
                if (why == EarlyEnd::AskedToEnd) {
                    exporter_->StopWaiting();
                    log_->Line(3, "asked to end, and the session goes on: it is interrupted");
                } else {
                    log_->Line(2, "no complete frame came for too long (session.no_frames_s): the "
                                  "session is interrupted");
                }
            },
        .leave =
            [this] {
                RemoveTraces(this);
                base::WriteUnlessBlocked(
                    STDERR_FILENO, "kvgrab: left at once, since the session could not be ended.\n");
                _exit(static_cast<int>(ExitStatus::LeftAtOnce));
            }});
    std::string error;
    return (guard_->Start(&error) &&
            catcher_.Install(&signals_, RemoveTraces, this, guard_->WakeUpFd(), &error)) ||
           Fails(ExitStatus::SetUp, error);
}

/** Removes what must not stay behind when kvgrab leaves at once. */
void Grabbing::RemoveTraces(void* grabbing) noexcept
{
    auto* const self = static_cast<Grabbing*>(grabbing);
    self->memory_.UnlinkNow();
    self->exporter_->AbandonNow();
    if (self->control_) {
        self->control_->RemoveNow();
    }
}

bool Grabbing::OpenMemory()
{
    return memory_.Open(start_.memory.name) || Fails(ExitStatus::SetUp, memory_.Error());
}

bool Grabbing::StartExport()
{
    return exporter_->Start() || Fails(ExitStatus::ExportFailed, exporter_->ErrorText());
}

bool Grabbing::OpenTrace()
{
    std::string error;
    return !options_.traceFile || trace_.Open(*options_.traceFile, &error) ||
           Fails(ExitStatus::SetUp, error);
}

/** Grabbing goes on without it if it can't be made. */
void Grabbing::OpenControlSocket()
{
    const std::string path = ControlSocketPath(start_.control.socket, start_.memory.name);
    if (path.empty()) {
        return;
    }
    control_.emplace(Control::Parts{.desk = desk_,
                                    .log = *log_,
                                    .facts = {.version = Version(),
                                              .pid = getpid(),
                                              .configPath = options_.configPath,
                                              .memoryName = start_.memory.name},
                                    .features = FeaturesOfTheRun(desk_),
                                    .exported = [this] { return exporter_->Counters(); }});
    std::string error;
    if (!control_->Start(path, &error)) {
        log_->Line(2, fmt::format("there is no control socket {}: {}", path, error));
    }
}

/** Warns of settings of this machine that will cost frames or features. */
void Grabbing::GiveAdvice()
{
    if (start_.cameras.network) {
        const NetworkFacts facts = LookAtNetwork(start_.cameras.interface);
        for (const std::string& advice :
             NetworkAdvice(facts, start_.stream.packetSize, start_.network.ownReceiver)) {
            log_->Line(2, advice);
        }
    }
    const std::string noControlThread = CheckRealTimePriority();
    if (!noControlThread.empty()) {
        log_->Line(start_.iobox.empty() ? 3 : 2, noControlThread);
    }
}

NextStep Grabbing::RunSessions()
{
    const GuardedBuffers guarded(memory_);
    host_.emplace(HostParts{
        .config = config_,
        .signals = signals_,
        .log = *log_,
        .memory = memory_,
        .exporter = *exporter_,
        .monotonicNs = MonotonicNs,
        .transfers = NewestTransfer,
        .wallClockNs = WallClockNs,
        .trace = options_.traceFile ? &trace_ : nullptr,
        .manager = &manager_,
        .cameraName = OpenCameraName,
        .newestFrame = NewestFrame,
        .guard = &*guard_,
        .waitsForTrigger = [this] { return !replaySerial_.empty() || CameraWaitsForTrigger(); },
        .judgeSettings = JudgeOpenCamera,
        .cameraRate = RateOfOpenCamera,
        .strict = options_.strict,
        .desk = &desk_,
        .replay = [this] { return EndOfReplay(replaySerial_); }});
    return kvgrab::RunSessions(
        {*host_, [this] { return RunSession(); }, [this](std::int64_t ms) { WaitAwhile(ms); }});
}

/** Runs a device session. Returns the driver's exit code, or kExitConfiguration if the camera can't
 *  drive the configured output lines. */
int Grabbing::RunSession()
{
    const std::string trouble = CheckOutputLines(config_.Current());
    if (!trouble.empty()) {
        log_->Line(1, trouble);
        return KvTd::kExitConfiguration;
    }
    host_->cameraOpened = [this] {
        desk_.SetCamera(NamesOfOpenCamera());
        host_->ShowState(RunState::Configuring, "the camera is configured");
        if (replaySerial_ = SerialOfReplay(); !replaySerial_.empty()) {
            log_->Line(3, ReplayLine(replaySerial_));
        }
        features_->Apply(config_.Current().features);
    };
    host_->OutputLinesChecked(DrivesOutputLines(config_.Current()));
    GevOverridePacketDelay(config_.Current().stream.packetDelayUs);
    return LookWhy(driver_.RunSession());
}

/** Looks at the camera after a code of the driver's that has more than one reason. */
int Grabbing::LookWhy(int driverCode) const
{
    if (signals_.Terminating() ||
        (driverCode != KvTd::kExitConfiguration && driverCode != KvTd::kExitOpen)) {
        return driverCode;
    }
    const FoundCamera found = FindCamera(config_.Current().camera);
    LeaveCameras();
    if (driverCode == KvTd::kExitConfiguration) {
        return found.status == ExitStatus::Done ? driverCode : kExitCameraLeft;
    }
    if (!found.held || found.status != ExitStatus::Done) {
        return kExitCameraSilent;
    }
    return *found.held ? kExitCameraHeld : driverCode;
}

/** Waits this long or less, so that the caller's thread is known to be alive. */
void Grabbing::WaitAwhile(std::int64_t milliseconds)
{
    constexpr std::int64_t kSecondMs = 1000;
    constexpr std::int64_t kNsPerMs = 1'000'000;
    host_->Alive();
    catcher_.Wait(std::min({milliseconds, kSecondMs, manager_.LongestWaitNs() / kNsPerMs + 1}));
}

/** Waits until pictures and trace are on the disk, for pictures after a signal at most
 *  export.drain_s; a failure may change how the run ends. */
void Grabbing::Finish(NextStep* last)
{
    manager_.Stopping("writing the last pictures");
    constexpr double kNsPerS = 1e9;
    host_->ShowState(RunState::Ending, last->sentence);
    const auto drainNs = static_cast<std::int64_t>(start_.exporting.drainS * kNsPerS);
    const auto isOver = [this](std::int64_t ns) {
        return signals_.Terminating() && MonotonicNs() - signals_.EndAskedNs() >= ns;
    };
    // The second half is for the frame of a stream that has been begun.
    leavesWritersBehind_ = !exporter_->Close([&] { return isOver(drainNs); },
                                             [&] { return streamFd_ >= 0 && isOver(drainNs / 2); });
    guard_->Stop();
    if (control_) {
        control_->Stop();
    }
    if (options_.traceFile && !trace_.Close()) {
        log_->Line(1, "the trace is incomplete: not all of it could be written");
    }
    if (last->status == ExitStatus::Done && exporter_->Failed()) {
        last->status = ExitStatus::ExportFailed;
    }
    if (last->status == ExitStatus::Done && options_.strict &&
        host_->settingsNotTaken.Count() != 0) {
        last->status = ExitStatus::CameraRefused;
        last->sentence = "the camera did not take all settings, and --strict asks for that";
    }
    if (last->status == ExitStatus::ExportFailed) {
        last->sentence = exporter_->ErrorText();
    }
    if (leavesWritersBehind_) {
        const ExportCounters counts = exporter_->Counters();
        last->sentence = LeftUnwritten(last->sentence, counts.notWritten, counts.cutOff);
        if (last->status == ExitStatus::Done && start_.exporting.stopOnError) {
            last->status = ExitStatus::ExportFailed;
        }
    }
    const std::string why =
        last->status == ExitStatus::Done
            ? WhyNoPicture({Pictures(), signals_.Terminating(), exporter_->ErrorText()})
            : std::string();
    if (!why.empty()) {
        *last = {NextStep::Kind::End, ExitStatus::ExportFailed, why};
    }
}

PictureCounts Grabbing::Pictures() const
{
    const ExportConfig& config = start_.exporting;
    const ExportCounters written = exporter_->Counters();
    return {config.format != "none", written.exported, written.skipped, written.failed,
            streamFd_ >= 0 ? std::string() : config.directory};
}

void Grabbing::PrintSummary(std::int64_t runNs)
{
    log_->SetStatus("");
    std::string summary = host_->progress.Summary(Pictures(), host_->Transfers(), runNs);
    if (const std::uint64_t left = exporter_->Counters().notWritten; left != 0) {
        summary += fmt::format("not written: {} pictures, which were still waiting when "
                               "export.drain_s was over\n",
                               left);
    }
    if (const auto drift = host_->Drift(); drift && drift->IsSignificant()) {
        summary += DriftLine(*drift);
    }
    summary += host_->consumers.Summary();
    summary += host_->droppedFrames.Summary();
    summary += features_->Summary();
    summary += host_->settingsNotTaken.Summary();
    Print(base::Printable(summary, "\n"), signals_.Terminating());
    log_->SumUp();
    std::istringstream lines(summary);
    for (std::string line; std::getline(lines, line);) {
        log_->FileLine(3, line);
    }
    if (options_.showLines) {
        std::fputs(DrawOutputLines().c_str(), stdout);
    }
}

ExitStatus Grabbing::SayWhyItEnds(const NextStep& last)
{
    log_->FileLine(last.status == ExitStatus::Done ? 3 : 1, EndLine(last.status, last.sentence));
    if (last.status == ExitStatus::Done) {
        Print(fmt::format("kvgrab: {}.\n", last.sentence), signals_.Terminating());
        return last.status;
    }
    std::fflush(stdout);
    return Fail(last.status, last.sentence);
}

} // namespace kvgrab
