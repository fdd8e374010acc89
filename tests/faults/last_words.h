/** What a process still prints when a session breaks it: how to do that again. */
#pragma once

#include <string>

namespace faults
{

/** From now on a process that is ended by a signal or by a sanitizer, or that hangs, prints `text`
 *  on standard output. It hangs when it has computed for `seconds`, or when ten times as long has
 *  gone by: a session waits for nothing but its own thread, and a busy machine slows a process down
 *  without having it compute more. To be called for each session, by one thread; replaces what was
 *  set before. */
void SetLastWords(const std::string& text, unsigned seconds);

/** Nothing is printed any more, and signals do what they did before. The time still runs, unless it
 *  is 0, and ends the process. */
void SayNothing(unsigned seconds);

} // namespace faults
