/** Catches the process's signals for a SignalState.
 *
 *  INT and TERM terminate, QUIT quits, HUP reconfigures, USR1 and USR2 go to the driver; PIPE is
 *  ignored. The second INT or TERM cleans up what must not stay and leaves at once. */
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
    /** Removes what must not stay when the process leaves at once. Runs in a signal handler. */
    using Cleanup = void (*)(void* context) noexcept;

    SignalCatcher() = default;
    ~SignalCatcher(); ///< the signals do what they did before
    SignalCatcher(const SignalCatcher&) = delete;
    SignalCatcher& operator=(const SignalCatcher&) = delete;

    /** One catcher of the process at a time. False: `*error` says why not. */
    bool Install(SignalState* state, Cleanup cleanup, void* context, std::string* error);

    /** Waits so long, or until a signal comes: true. A signal that came before the call counts, and
     *  each is told once. */
    bool Wait(std::int64_t milliseconds);

private:
    FileHandle wakeUp_; ///< an eventfd that the handler writes to
    bool installed_ = false;
};

} // namespace kvgrab
