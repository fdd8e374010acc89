/** Work in a process of its own, so that another one can tell how it broke or that it hung. */
#pragma once

#include <functional>
#include <string>

namespace faults
{

/** Runs `work` in a child process, which exits with its result, and returns what waitpid() tells of
 *  the child's end. */
int WaitStatusOf(const std::function<int()>& work);

/** The same for a whole program: returns its exit code. If the child leaves last words, they are
 *  printed and the program has failed. */
int RunWatched(const std::function<int()>& work);

/** Within RunWatched(): the words that are printed if the process breaks or hangs from now on; ""
 *  when nothing is under way. Limits the process as LimitTo() does. */
void SetLastWords(const std::string& words, unsigned seconds);

/** Ends this process once it has used `seconds` of processor time from now on, however busy the
 *  machine is, or once ten times as long has gone by: it hangs. With 0 there is no limit. */
void LimitTo(unsigned seconds);

} // namespace faults
