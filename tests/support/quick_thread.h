/** The driver's control thread in tests: without real-time scheduling, and ten times as fast. */
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace rig
{

/** What creating the thread does: refused, so that a test has the driver to itself, unless it asks
 *  for the thread. Set it before the session. */
struct QuickThread {
    static inline bool allowed = false;
    static inline int created = 0;
    /** What was asked for the newest thread: "policy, own or inherited, priority". */
    static inline std::string scheduling;
    /** Runs before each sleep, by its length, on the thread that sleeps. */
    static inline std::function<void(std::uint32_t us)> onSleep;
};

} // namespace rig
