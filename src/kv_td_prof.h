/** What the grab loop measures for the log: waits, triggers, rounds per minute, the whole loop.
 *  Grab thread only; kept for the process's life and never reset. */
#pragma once

#include "kv_td_log.h"

#include <cstdint>
#include <sys/time.h>

namespace KvTd
{

/** The loop began at `now`, just before capture starts. */
void ProfLoopStart(const timeval& now);
void ProfLoopEnd();

/** Around the wait for a frame, which ended at `now`. */
void ProfWaitStart();
void ProfWaitEnd(const timeval& now);

/** Around the trigger into frame memory. End returns how long it took: the microsecond part. */
void ProfWriteStart();
std::uint32_t ProfWriteEnd();

/** Counts a round; once a minute writes the rate for `site`. */
void ProfRound(const LogSite& site);

/** Writes both rings and how long the loop took. */
void _t_PrintProfiler();

} // namespace KvTd
