/** What a process still says when a session breaks it: how to do that again. */
#pragma once

#include <string>

namespace faults
{

/** From now on a process that a signal ends, that a sanitizer stops, or that comes no further for
 *  `seconds` of real time says `text` on standard output. Again for each session. Replaces what was
 *  to be said; one thread sets it. */
void SetLastWords(const std::string& text, unsigned seconds);

/** Nothing is said any more, and signals do what they did before. The time still runs; it ends the
 *  process by SIGALRM. */
void SayNothing(unsigned seconds);

} // namespace faults
