/** Catches the process's signals for a SignalState.
 *
 *  INT and TERM terminate, QUIT quits, HUP reconfigures and reopens rotated log files, USR1 and
 *  USR2 go to the driver; PIPE is ignored. The second INT or TERM that counts runs the clean-up and
 *  ends the process at once; so does an error that nobody handles. */
#pragma once

#include "file_handle.h"
#include "session/signal_state.h"

#include <cstdint>
#include <string>

namespace kvgrab
{

class SignalCatcher
{
public:
    /** Removes what must not stay behind when the process ends at once. Runs in a signal handler.
     */
    using Cleanup = void (*)(void* context) noexcept;

    SignalCatcher() = default;
    ~SignalCatcher(); ///< restores the former handlers
    SignalCatcher(const SignalCatcher&) = delete;
    SignalCatcher& operator=(const SignalCatcher&) = delete;

    /** Only one catcher per process at a time. Signals also wake `alsoWake`, an eventfd,
     *  unless it is negative. False: `*error` says why. */
    bool Install(SignalState* state, Cleanup cleanup, void* context, int alsoWake,
                 std::string* error);

    /** Waits this long, or until a signal comes (true). Signals that came before the call count,
     *  too, unless an earlier Wait reported them. */
    bool Wait(std::int64_t milliseconds);

private:
    FileHandle wakeUp_; ///< an eventfd that the handler writes to
    bool installed_ = false;
};

} // namespace kvgrab
