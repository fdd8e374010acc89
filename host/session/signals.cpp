#include "session/signals.h"

#include "base/write_all.h"
#include "exit_status.h"
#include "report/log.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <exception>
#include <fmt/format.h>
#include <poll.h>
#include <string_view>
#include <sys/eventfd.h>

namespace kvgrab
{

namespace
{

struct Caught {
    int number;
    KvTd::SignalState state;
};

constexpr std::array<Caught, 6> kCaught = {{{SIGINT, KvTd::kSignalTerminate},
                                            {SIGTERM, KvTd::kSignalTerminate},
                                            {SIGHUP, KvTd::kSignalReconfigure},
                                            {SIGUSR1, KvTd::kSignalUsr1},
                                            {SIGUSR2, KvTd::kSignalUsr2},
                                            {SIGQUIT, KvTd::kSignalQuit}}};

/** The data that the handler uses; set before it is installed. */
struct HandlerContext {
    SignalState* state = nullptr;
    SignalCatcher::Cleanup cleanup = nullptr;
    void* cleanupContext = nullptr;
    int wakeUp = -1;
    int alsoWake = -1;
};
HandlerContext handlerContext;
std::array<struct sigaction, kCaught.size() + 1> formerActions;

extern "C" void OnSignal(int number)
{
    const int formerErrno = errno;
    const auto caught =
        std::find_if(kCaught.begin(), kCaught.end(),
                     [number](const Caught& candidate) { return candidate.number == number; });
    if (caught != kCaught.end() && handlerContext.state->Raise(caught->state) >= 2) {
        handlerContext.cleanup(handlerContext.cleanupContext);
        base::WriteUnlessBlocked(STDERR_FILENO, "\nkvgrab: left at once on the second signal.\n");
        _exit(static_cast<int>(ExitStatus::LeftAtOnce));
    }
    if (number == SIGHUP) {
        Log::FilesMayBeRotated();
    }
    const std::uint64_t one = 1;
    for (const int wakeUp : {handlerContext.wakeUp, handlerContext.alsoWake}) {
        [[maybe_unused]] const ssize_t woken = write(wakeUp, &one, sizeof(one));
    }
    errno = formerErrno;
}

std::terminate_handler formerTerminate = nullptr;

/** For errors that nobody handles, such as a lack of memory where none can be reported. */
[[noreturn]] void OnTerminate()
{
    handlerContext.cleanup(handlerContext.cleanupContext);
    base::WriteUnlessBlocked(STDERR_FILENO,
                             "kvgrab: ended by an unexpected error, perhaps a lack of memory.\n");
    _exit(static_cast<int>(ExitStatus::Internal));
}

} // namespace

bool SignalCatcher::Install(SignalState* state, Cleanup cleanup, void* context, int alsoWake,
                            std::string* error)
{
    wakeUp_ = FileHandle(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!wakeUp_.Valid()) {
        *error = fmt::format("can't wait for signals: {}", std::strerror(errno));
        return false;
    }
    handlerContext = {state, cleanup, context, wakeUp_.Get(), alsoWake};
    formerTerminate = std::set_terminate(OnTerminate);
    struct sigaction action = {};
    action.sa_handler = OnSignal;
    action.sa_flags = SA_RESTART;
    sigfillset(&action.sa_mask);
    for (std::size_t i = 0; i < kCaught.size(); ++i) {
        sigaction(kCaught[i].number, &action, &formerActions[i]);
    }
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, &formerActions.back());
    installed_ = true;
    return true;
}

SignalCatcher::~SignalCatcher()
{
    if (!installed_) {
        return;
    }
    for (std::size_t i = 0; i < kCaught.size(); ++i) {
        sigaction(kCaught[i].number, &formerActions[i], nullptr);
    }
    sigaction(SIGPIPE, &formerActions.back(), nullptr);
    std::set_terminate(formerTerminate);
}

bool SignalCatcher::Wait(std::int64_t milliseconds)
{
    pollfd waiting = {wakeUp_.Get(), POLLIN, 0};
    const int limit = static_cast<int>(std::clamp<std::int64_t>(milliseconds, 0, INT_MAX));
    poll(&waiting, 1, limit); // the read below gives the outcome
    std::uint64_t count = 0;
    return read(wakeUp_.Get(), &count, sizeof(count)) == static_cast<ssize_t>(sizeof(count));
}

} // namespace kvgrab
