/** Runs device sessions, one after the other, and decides what follows each of them. */
#pragma once

#include "exit_status.h"
#include "session/host_session.h"
#include "session/session_guard.h"

#include <cstdint>
#include <functional>
#include <string>

namespace kvgrab
{

/** Codes in addition to the driver's: what kvgrab found out after the driver's kExitConfiguration
 * or kExitOpen. */
constexpr int kExitCameraLeft = -102;   ///< the camera is gone that was being configured
constexpr int kExitCameraHeld = -105;   ///< another program holds the camera
constexpr int kExitCameraSilent = -106; ///< the camera is gone that was to be opened

/** How a device session ended. */
struct SessionOutcome {
    int driverCode = 0; ///< KvTd::ExitCode, or one of the above
    EarlyEnd endedEarly = EarlyEnd::None;
    bool terminating = false;
    bool frameCountReached = false;
    bool exportFailed = false;
    ReplayEnd replay = {};
    bool grabbed = false;         ///< frames came in this session
    bool grabbedBefore = false;   ///< frames came in this session or an earlier one
    bool newSessionAsked = false; ///< a changed configuration needs another session
    unsigned refusals = 1; ///< sessions in a row that ended with kExitConfiguration, this one too
};

/** What follows a device session. */
struct NextStep {
    enum class Kind {
        NextSession, ///< at once
        RetryLater,  ///< after the retry interval
        End
    };
    Kind kind = Kind::End;
    ExitStatus status = ExitStatus::Done; ///< when it ends
    std::string sentence;                 ///< why, without a full stop
};

/** Pure. `retry`: whether to wait for a camera. */
NextStep Decide(const SessionOutcome& outcome, bool retry);

/** How long to wait before a session: at first as configured, then each time twice as long, up to
 *  30 s. */
class RetryPace
{
public:
    double NextS(double configuredS);
    void Reset() { attempts_ = 0; }

private:
    unsigned attempts_ = 0;
};

struct SessionLoopParts {
    HostSession& host;
    std::function<int()> runDriver;
    /** Waits this many milliseconds, or until a signal comes. */
    std::function<void(std::int64_t)> wait;
};

/** Runs sessions until the decision is to end. Returns that step, whose kind is End. */
NextStep RunSessions(const SessionLoopParts& parts);

} // namespace kvgrab
