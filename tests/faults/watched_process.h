/** Work in a process of its own, so that another one can tell how it broke or that it hung. */
#pragma once

#include <functional>
#include <string>

namespace faults
{

/** Runs `work` in a child process, which exits with its result, and returns what waitpid() tells of
 *  the child's end. */
int WaitStatusOf(const std::function<int()>& work);

/** The same for a whole program: prints the last words when the child leaves some, and returns the
 *  program's exit code. */
int RunWatched(const std::function<int()>& work);

/** Within RunWatched(): what is printed if the process ends or hangs before other words are set;
 *  "" when nothing is under way. It counts as hanging, and is ended, when it has used `seconds` of
 *  processor time, however busy the machine is, or when ten times as long has gone by; with 0 there
 *  is no limit. The limits hold in this process alone, the words are those of RunWatched(). */
void SetLastWords(const std::string& words, unsigned seconds);
void LimitTo(unsigned seconds);

} // namespace faults
