#include "session/command_signals.h"

#include "base/signals_blocked.h"
#include "cameras/cameras.h"
#include "session/monotonic.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>

namespace kvgrab
{

namespace
{

constexpr std::array kSignals = {SIGINT, SIGTERM, SIGQUIT, SIGHUP};

std::atomic<int> signalThatCame{0};
std::atomic<int> wakeUpFd{-1};

void WakeUp(int fd) noexcept
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t woken = write(fd, &one, sizeof(one));
}

extern "C" void OnCommandSignal(int number)
{
    const int formerErrno = errno;
    signalThatCame.store(number);
    WakeUp(wakeUpFd.load());
    errno = formerErrno;
}

void SetHandlers(void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    for (const int number : kSignals) {
        struct sigaction former = {};
        sigaction(number, nullptr, &former);
        if (former.sa_handler != SIG_IGN) { // as by nohup
            sigaction(number, &action, nullptr);
        }
    }
}

} // namespace

CommandSignals::CommandSignals() : wakeUp_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!wakeUp_.Valid()) {
        return; // signals end the program at once, as without this object
    }
    wakeUpFd.store(wakeUp_.Get());
    const base::SignalsBlocked blocked;
    thread_ = std::thread([this] { Run(); });
    SetHandlers(OnCommandSignal);
}

CommandSignals::~CommandSignals()
{
    if (!thread_.joinable()) {
        return;
    }
    ended_.store(true);
    WakeUp(wakeUp_.Get());
    thread_.join();
    SetHandlers(SIG_DFL);
    wakeUpFd.store(-1);
    if (const int number = signalThatCame.load(); number != 0) {
        std::raise(number);
    }
}

void CommandSignals::Run()
{
    constexpr std::int64_t kNsPerMs = 1'000'000;
    constexpr std::int64_t kMostNs = 2000 * kNsPerMs;
    while (signalThatCame.load() == 0 && !ended_.load()) {
        Await(-1);
    }
    if (ended_.load()) {
        return;
    }
    InterruptCameras(true);
    const std::int64_t endNs = MonotonicNs() + kMostNs;
    while (!ended_.load()) {
        const std::int64_t leftNs = endNs - MonotonicNs();
        if (leftNs <= 0) {
            SetHandlers(SIG_DFL);
            kill(getpid(), signalThatCame.load());
            return;
        }
        Await(static_cast<int>(leftNs / kNsPerMs + 1));
    }
}

void CommandSignals::Await(int milliseconds)
{
    pollfd waiting = {wakeUp_.Get(), POLLIN, 0};
    poll(&waiting, 1, milliseconds);
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t taken = read(wakeUp_.Get(), &count, sizeof(count));
}

} // namespace kvgrab
