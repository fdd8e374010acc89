#include "futex.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace kvframes
{
namespace
{

constexpr auto kSlice = std::chrono::milliseconds(20);
constexpr auto kPause = std::chrono::milliseconds(2); ///< where the kernel can't wait at all

/** True for reasons to end a wait; others mean that the kernel didn't wait. */
bool IsUsual(int error)
{
    return error == EAGAIN || error == EINTR || error == ETIMEDOUT;
}

timespec ToTimespec(std::chrono::nanoseconds time)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    timespec result = {};
    result.tv_sec = static_cast<time_t>(seconds.count());
    result.tv_nsec = static_cast<long>((time - seconds).count());
    return result;
}

void WaitOnOne(const std::atomic<std::uint32_t>& word, std::uint32_t seen, Clock::time_point until,
               int flags)
{
    const Clock::duration left = until - Clock::now();
    if (left <= Clock::duration::zero()) {
        return;
    }
    const timespec time = ToTimespec(left);
    if (syscall(SYS_futex, &word, FUTEX_WAIT | flags, seen, &time, nullptr, 0) != 0 &&
        !IsUsual(errno)) {
        std::this_thread::sleep_for(std::min<Clock::duration>(left, kPause));
    }
}

futex_waitv Entry(const std::atomic<std::uint32_t>& word, std::uint32_t seen, std::uint32_t flags)
{
    futex_waitv entry = {};
    entry.val = seen;
    entry.uaddr = reinterpret_cast<std::uintptr_t>(&word);
    entry.flags = FUTEX_32 | flags;
    return entry;
}

} // namespace

void WaitForChange(const std::atomic<std::uint32_t>& word, std::uint32_t seen,
                   Clock::time_point until)
{
    WaitOnOne(word, seen, until, FUTEX_PRIVATE_FLAG);
}

void WaitForEither(const std::atomic<std::uint32_t>& shared, std::uint32_t sharedSeen,
                   const std::atomic<std::uint32_t>& own, std::uint32_t ownSeen,
                   Clock::time_point until)
{
    static std::atomic<bool> unavailable = false;
    if (!unavailable.load(std::memory_order_relaxed)) {
        const futex_waitv entries[] = {Entry(shared, sharedSeen, 0),
                                       Entry(own, ownSeen, FUTEX_PRIVATE_FLAG)};
        const timespec time = ToTimespec(until.time_since_epoch());
        if (syscall(SYS_futex_waitv, entries, 2, 0, &time, CLOCK_MONOTONIC) >= 0 ||
            IsUsual(errno)) {
            return;
        }
        unavailable.store(true, std::memory_order_relaxed);
    }
    if (own.load() == ownSeen) {
        WaitOnOne(shared, sharedSeen, std::min(until, Clock::now() + kSlice), 0);
    }
}

void WakeAll(std::atomic<std::uint32_t>& word)
{
    syscall(SYS_futex, &word, FUTEX_WAKE | FUTEX_PRIVATE_FLAG, INT_MAX, nullptr, nullptr, 0);
}

} // namespace kvframes
