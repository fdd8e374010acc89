#include "session/guard_thread.h"

#include "base/signals_blocked.h"
#include "session/monotonic.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>

namespace kvgrab
{

bool GuardThread::Start(std::string* error)
{
    wakeUp_ = FileHandle(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!wakeUp_.Valid()) {
        *error = fmt::format("can't watch the sessions: {}", std::strerror(errno));
        return false;
    }
    const base::SignalsBlocked blocked;
    thread_ = std::thread([this] { Run(); });
    return true;
}

void GuardThread::Stop()
{
    if (thread_.joinable()) {
        stopping_.store(true);
        WakeUp();
        thread_.join();
    }
}

void GuardThread::WakeUp() const noexcept
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t woken = write(wakeUp_.Get(), &one, sizeof(one));
}

void GuardThread::Run()
{
    // A terminate from elsewhere than the signal handler is seen after this time at the latest.
    constexpr std::int64_t kLongestNs = 200'000'000;
    constexpr std::int64_t kNsPerMs = 1'000'000;
    while (!stopping_.load()) {
        const std::int64_t leftNs = Look() - MonotonicNs();
        const std::int64_t waitNs = std::clamp<std::int64_t>(leftNs, 0, kLongestNs);
        pollfd waiting = {wakeUp_.Get(), POLLIN, 0};
        poll(&waiting, 1, static_cast<int>((waitNs + kNsPerMs - 1) / kNsPerMs));
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t taken = read(wakeUp_.Get(), &count, sizeof(count));
    }
}

std::int64_t GuardThread::Look()
{
    constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();
    GuardVerdict verdict;
    {
        const std::lock_guard lock(mutex_);
        if (!inSession_) {
            return kNever;
        }
        verdict =
            guard_.Look(MonotonicNs(), {.terminating = parts_.signals->Terminating(),
                                        .interrupted = ended_ != EarlyEnd::None,
                                        .grabbing = grabbing_.load(),
                                        .newestNs = newestNs_.load(),
                                        .noFramesNs = paused_.load() ? 0 : noFramesNs_.load()});
        if (verdict.leave) {
            parts_.leave();
        }
        if (verdict.end == EarlyEnd::None) {
            return verdict.lookAgainNs;
        }
        ended_ = verdict.end;
        parts_.interrupt(true);
    }
    parts_.interrupted(verdict.end);
    return MonotonicNs();
}

void GuardThread::SessionBegins()
{
    const std::lock_guard lock(mutex_);
    inSession_ = true;
    ended_ = EarlyEnd::None;
}

EarlyEnd GuardThread::SessionEnds()
{
    GrabbingEnds();
    const std::lock_guard lock(mutex_);
    inSession_ = false;
    parts_.interrupt(false);
    return ended_;
}

void GuardThread::GrabbingBegins(std::int64_t nowNs)
{
    newestNs_.store(nowNs);
    grabbing_.store(true);
    WakeUp();
}

void GuardThread::GrabbingEnds()
{
    grabbing_.store(false);
}

void GuardThread::Resume(std::int64_t nowNs) noexcept
{
    newestNs_.store(nowNs);
    paused_.store(false);
}

} // namespace kvgrab
