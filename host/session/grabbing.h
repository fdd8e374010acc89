/** `kvgrab run`, from reading the configuration to the summary. */
#pragma once

#include "cameras/cameras.h"
#include "config/config_store.h"
#include "config/options.h"
#include "control/control.h"
#include "exit_status.h"
#include "features/session_features.h"
#include "session/driver_library.h"
#include "session/guard_thread.h"
#include "session/host_session.h"
#include "session/session_loop.h"
#include "session/signals.h"

#include <optional>
#include <string>
#include <string_view>

namespace kvgrab
{

/** Owns all parts of a run, in the order in which they start; they stop in the opposite order.
 *
 *  A step that fails returns false, after it has printed the reason on standard error and set the
 *  exit status. Grab thread only, except for RemoveTraces, which a signal handler calls. */
class Grabbing
{
public:
    /** `options` must outlive it. */
    Grabbing(const Options& options, ConfigSource source);
    ~Grabbing(); ///< logs that an exception ends the run
    Grabbing(const Grabbing&) = delete;
    Grabbing& operator=(const Grabbing&) = delete;

    /** Once only. */
    ExitStatus Run();
    /** Whether threads are left that hang while they write pictures: then the process has to end
     *  without running destructors of statics. */
    bool LeavesWritersBehind() const { return leavesWritersBehind_; }

private:
    bool ReadConfiguration();
    bool TakeOutput();
    bool OpenLog();
    bool FindCameras();
    bool LoadDriver();
    bool CatchSignals();
    bool OpenMemory();
    bool StartExport();
    bool OpenTrace();
    void OpenControlSocket();
    void GiveAdvice();
    NextStep RunSessions();
    int RunSession();
    int LookWhy(int driverCode) const;
    void WaitAwhile(std::int64_t milliseconds);
    PictureCounts Pictures() const;
    void Finish(NextStep* last);
    void PrintSummary(std::int64_t runNs);
    ExitStatus SayWhyItEnds(const NextStep& last);

    bool Fails(ExitStatus status, std::string_view why);
    static void RemoveTraces(void* grabbing) noexcept;

    const Options& options_;
    ExitStatus status_ = ExitStatus::Done;
    ControlDesk desk_;
    ConfigStore config_;
    Config start_; ///< configuration at the start, for settings that can't change later
    std::vector<std::string> startWarnings_;
    std::optional<Log> log_;
    std::optional<PlatformLog> platformLog_;
    std::optional<SessionFeatures> features_;
    DriverLibrary driver_;
    FrameMemory memory_;
    int streamFd_ = -1; ///< for frames in place of standard output; the exporter's
    std::optional<Exporter> exporter_;
    SignalState signals_;
    std::optional<GuardThread> guard_;
    SignalCatcher catcher_;
    bool leavesWritersBehind_ = false;
    FrameTrace trace_;
    ServiceManager manager_;
    std::optional<Control> control_;
    std::string replaySerial_; ///< of the camera, if it plays a recording back
    std::optional<HostSession> host_;
};

} // namespace kvgrab
