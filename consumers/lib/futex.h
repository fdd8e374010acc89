/** Waiting for a word in memory to change. */
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace kvframes
{

using Clock = std::chrono::steady_clock;

/** Returns when `word` no longer has the value `seen`, when somebody wakes it, or at `until`, and
 *  now and then without a reason. The word is private to this process. */
void WaitForChange(const std::atomic<std::uint32_t>& word, std::uint32_t seen,
                   Clock::time_point until);

/** Waits in the same way for either of two words: one shared with other processes, one private. On
 *  kernels before 5.16 the private word is looked at every 20 ms. */
void WaitForEither(const std::atomic<std::uint32_t>& shared, std::uint32_t sharedSeen,
                   const std::atomic<std::uint32_t>& own, std::uint32_t ownSeen,
                   Clock::time_point until);

/** Wakes all threads of this process that wait for the private word. Async-signal-safe. */
void WakeAll(std::atomic<std::uint32_t>& word);

} // namespace kvframes
