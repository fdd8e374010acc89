/** Runs device sessions, one after the other, and decides what follows each of them. */
#pragma once

#include "exit_status.h"
#include "session/host_session.h"

#include <cstdint>
#include <functional>
#include <string>

namespace kvgrab
{

/** How a device session ended. */
struct SessionOutcome {
    int driverCode = 0; ///< KvTd::ExitCode
    bool terminating = false;
    bool frameCountReached = false;
    bool exportFailed = false;
    bool grabbedBefore = false; ///< frames came in this session or an earlier one
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

struct SessionLoopParts {
    HostSession& host;
    std::function<int()> runDriver;
    /** Waits this many milliseconds, or until a signal comes. */
    std::function<void(std::int64_t)> wait;
};

/** Runs sessions until the decision is to end. Returns that step, whose kind is End. */
NextStep RunSessions(const SessionLoopParts& parts);

} // namespace kvgrab
