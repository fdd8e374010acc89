#include "run.h"

#include "cameras/camera_features.h"
#include "cameras/cameras.h"
#include "cameras/chosen_camera.h"
#include "cameras/network_checks.h"
#include "cameras/output_lines.h"
#include "cameras/realtime.h"
#include "session/driver_library.h"
#include "session/host_session.h"
#include "session/session_loop.h"
#include "session/signals.h"

#include <cstdio>
#include <ctime>
#include <unistd.h>

namespace kvgrab
{

namespace
{

std::int64_t MonotonicNs()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

timespec WallClock()
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return now;
}

std::int64_t WallClockNs()
{
    const timespec now = WallClock();
    return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

/** One sentence on standard error. */
ExitStatus Fail(ExitStatus status, const std::string& why)
{
    std::fprintf(stderr, "kvgrab: %s%s\n", why.c_str(), why.ends_with('.') ? "" : ".");
    return status;
}

ConfigStore MakeStore(const Options& options)
{
    return ConfigStore(FileSource(options.configPath,
                                  [options](Config* config) { ApplyOverrides(options, config); }));
}

ExportOptions ExportOptionsFrom(const ExportConfig& config, Log* log)
{
    ExportOptions options;
    options.folder = config.directory;
    ParseExportFormat(config.format, &options.format);
    options.overwrite = config.overwrite;
    options.everyFrame = config.everyFrame;
    options.onError = config.stopOnError ? ExportErrorPolicy::kStop : ExportErrorPolicy::kContinue;
    options.workers = config.writers;
    options.queueLength = config.queue;
    options.pngCompression = config.pngCompression;
    options.report = [log](const std::string& trouble) { log->Line(2, trouble); };
    return options;
}

/** What must not stay when kvgrab leaves at once. */
struct Traces {
    FrameMemory& memory;
    Exporter& exporter;
};

void RemoveTraces(void* traces) noexcept
{
    static_cast<Traces*>(traces)->memory.UnlinkNow();
    static_cast<Traces*>(traces)->exporter.AbandonNow();
}

/** A microsecond a second; a minute of frames tells ten times better. */
constexpr double kSureEnoughNsPerS = 1000;

void PrintSummary(const HostSession& host, std::int64_t runNs)
{
    const ExportConfig& config = host.parts.config.Current().exporting;
    const ExportCounters written = host.parts.exporter.Counters();
    const PictureCounts pictures = {config.format != "none", written.exported, written.skipped,
                                    written.failed, config.directory};
    std::fputs(host.progress.Summary(pictures, host.Transfers(), runNs).c_str(), stdout);
    if (const auto drift = host.Drift()) {
        std::printf("clocks: the host's gained %.0f ns a second on the camera's (give or take "
                    "%.0f, over %.0f s); ",
                    drift->nsPerS, drift->uncertainNsPerS, drift->seconds);
        if (drift->uncertainNsPerS > kSureEnoughNsPerS) {
            std::puts("a longer run tells which timing.drift_ns_per_s to configure");
        } else {
            std::printf("timing.drift_ns_per_s = %.0f stamps by the camera's\n", drift->nsPerS);
        }
    }
}

} // namespace

ExitStatus RunGrabbing(const Options& options)
{
    ConfigStore config = MakeStore(options);
    const ConfigStore::Result loaded = config.Reload();
    if (!loaded.usable) {
        return Fail(ExitStatus::Configuration, loaded.error);
    }
    const Config start = config.Current();
    std::string error;
    Log log(STDERR_FILENO, !options.noStatus && isatty(STDERR_FILENO) != 0, start.log.level,
            WallClock);
    if (!start.log.file.empty() && !log.OpenFile(start.log.file, &error)) {
        return Fail(ExitStatus::SetUp, error);
    }
    for (const std::string& warning : loaded.warnings) {
        log.Line(2, warning);
    }
    const PlatformLog platformLog(log);
    if (!SetUpCameras(start.cameras, FromConfigFolder(start.simulation.network, options.configPath),
                      &error)) {
        return Fail(ExitStatus::SetUp, error);
    }
    DriverLibrary driver;
    if (!driver.Load(options.driverPath, &error)) {
        return Fail(ExitStatus::Driver, error);
    }
    FrameMemory memory;
    Exporter exporter(ExportOptionsFrom(start.exporting, &log));
    Traces traces{memory, exporter};
    SignalState signals;
    SignalCatcher catcher;
    if (!catcher.Install(&signals, RemoveTraces, &traces, &error)) {
        return Fail(ExitStatus::SetUp, error);
    }
    if (!memory.Open(start.memory.name)) {
        return Fail(ExitStatus::SetUp, memory.Error());
    }
    if (!exporter.Start()) {
        if (start.exporting.stopOnError) {
            return Fail(ExitStatus::ExportFailed, exporter.ErrorText());
        }
        log.Line(1, "grabbing goes on without writing pictures: " + exporter.ErrorText());
    }
    FrameTrace trace;
    if (options.traceFile && !trace.Open(*options.traceFile, &error)) {
        return Fail(ExitStatus::SetUp, error);
    }
    HostSession host({config, signals, log, memory, exporter, MonotonicNs, NewestTransfer,
                      WallClockNs, options.traceFile ? &trace : nullptr});

    if (start.cameras.network) {
        const NetworkFacts facts = LookAtNetwork(start.cameras.interface);
        for (const std::string& advice : NetworkAdvice(facts, start.stream.packetSize)) {
            log.Line(2, advice);
        }
    }
    const std::string noControlThread = CheckRealTimePriority();
    if (!noControlThread.empty()) {
        log.Line(start.iobox.empty() ? 3 : 2, noControlThread);
    }

    const std::int64_t beginNs = MonotonicNs();
    const auto runSession = [&] {
        const std::string trouble = CheckOutputLines(config.Current());
        if (!trouble.empty()) {
            log.Line(1, trouble);
            return static_cast<int>(KvTd::kExitConfiguration);
        }
        host.OutputLinesChecked(DrivesOutputLines(config.Current()));
        return driver.RunSession();
    };
    NextStep last =
        RunSessions({host, runSession, [&catcher](std::int64_t ms) { catcher.Wait(ms); }});
    exporter.Close();
    if (options.traceFile && !trace.Close()) {
        log.Line(1, "the trace is not whole: the disk did not take all of it");
    }
    if (last.status == ExitStatus::Done && exporter.Failed()) {
        last.status = ExitStatus::ExportFailed;
    }
    if (last.status == ExitStatus::ExportFailed) {
        last.sentence = exporter.ErrorText();
    }
    PrintSummary(host, MonotonicNs() - beginNs);
    if (options.showLines) {
        std::fputs(DrawOutputLines().c_str(), stdout);
    }
    if (last.status == ExitStatus::Done) {
        std::printf("kvgrab: %s.\n", last.sentence.c_str());
        return last.status;
    }
    std::fflush(stdout);
    return Fail(last.status, last.sentence);
}

/** For what is asked beside a run: configuration and cameras. False: `*status` says with what to
 *  end. */
static bool SetUpBeside(const Options& options, Config* config, ExitStatus* status)
{
    ConfigStore store = MakeStore(options);
    const ConfigStore::Result loaded = store.Reload();
    if (!loaded.usable) {
        *status = Fail(ExitStatus::Configuration, loaded.error);
        return false;
    }
    *config = store.Current();
    std::string error;
    if (!SetUpCameras(config->cameras,
                      FromConfigFolder(config->simulation.network, options.configPath), &error)) {
        *status = Fail(ExitStatus::SetUp, error);
        return false;
    }
    return true;
}

ExitStatus RunList(const Options& options)
{
    Config config;
    ExitStatus status = ExitStatus::Done;
    if (!SetUpBeside(options, &config, &status)) {
        return status;
    }
    std::string error;
    std::vector<CameraRow> cameras;
    if (!ListCameras(&cameras, &error)) {
        return Fail(ExitStatus::SetUp, error);
    }
    std::fputs(cameras.empty() ? "There is no camera.\n" : CameraTable(cameras).c_str(), stdout);
    if (!config.cameras.network) {
        std::puts("Cameras on the network are not looked for (--cameras net, or all).");
    }
    return ExitStatus::Done;
}

ExitStatus RunFeatures(const Options& options)
{
    Config config;
    ExitStatus status = ExitStatus::Done;
    if (!SetUpBeside(options, &config, &status)) {
        return status;
    }
    const ChosenCamera camera(config.camera);
    if (!camera.IsOpen()) {
        return Fail(ExitStatus::OpenFailed, camera.WhyNot());
    }
    const GenApi::CNodeMapRef* const map = camera.NodeMap();
    if (map == nullptr) {
        return Fail(ExitStatus::OpenFailed, "the camera gives no description of its features");
    }
    const GEV_DEVICE_INFO& info = camera.Info();
    std::printf("%s\n", Shown(std::string(info.manufacturer) + ", " + info.model + ", serial " +
                              info.serial + ", version " + info.version)
                            .c_str());
    std::fputs(FeatureTable(ReadFeatures(*map)).c_str(), stdout);
    return ExitStatus::Done;
}

} // namespace kvgrab
