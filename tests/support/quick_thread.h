/** The driver's control thread in tests: without real-time scheduling, and ten times as fast. */
#pragma once

namespace rig
{

/** What creating the thread does: refused, so that a test has the driver to itself, unless it asks
 *  for the thread. Set it before the session. */
struct QuickThread {
    static inline bool allowed = false;
    static inline int created = 0;
};

} // namespace rig
