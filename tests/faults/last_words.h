/** Prints how to reproduce the session when it crashes the process. */
#pragma once

#include <string>

namespace faults
{

/** From now on a process prints `text` on standard output when a signal or a sanitizer ends it, or
 *  when it hangs. It counts as hanging when it has used `seconds` of processor time, however busy
 *  the machine is, or when ten times as long has gone by. To be called for each session, from one
 *  thread; replaces what was set before. */
void SetLastWords(const std::string& text, unsigned seconds);

/** Prints nothing any more, and lets signals do what they did before. A process that hangs, in the
 *  same sense, is ended; with 0 it is not. */
void SayNothing(unsigned seconds);

} // namespace faults
