/** The driver's control thread in tests: without real-time scheduling, and ten times as fast. */
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace rig
{

/** Creating the thread is refused, so that a test has the driver to itself, unless the test allows
 *  it. All of this is set before the session. */
struct QuickThread {
    static inline bool allowed = false;
    static inline int created = 0;
    /** What was asked for the newest thread: "policy, own or inherited, priority". */
    static inline std::string scheduling;
    /** Runs before each sleep, by its length, on the thread that sleeps. */
    static inline std::function<void(std::uint32_t us)> onSleep;
    /** The driver waits for the end of its thread for as long as that takes. Otherwise it cancels
     *  the thread after forty looks, which a slow machine may not have run by then. */
    static inline bool patient = false;

    /** Returns when the thread has made a whole pass from here on, or has ended. */
    static void AwaitPass();
};

} // namespace rig
