/** Programs run by the benchmark, and what they cost. */
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace bench
{

/** What a program's threads use while frames flow, in us of CPU a second. */
struct Load {
    double all = 0;
    double realTime = 0; ///< those with a real-time priority
};

struct Outcome {
    bool ended = false;   ///< by itself, with status 0
    bool watched = false; ///< `load` holds: it ran long enough
    std::string output;   ///< standard output and error
    Load load;
};

/** Runs a program to its end. Its load is taken over `watchedS` seconds that begin soon after it
 *  has a thread that receives frames; 0: not at all. */
Outcome RunProgram(const std::vector<std::string>& words, double watchedS);

/** A program in the background for the life of this object; then it is asked to end (SIGTERM). */
class Background
{
public:
    explicit Background(const std::vector<std::string>& words);
    ~Background();
    Background(const Background&) = delete;
    Background& operator=(const Background&) = delete;
    bool IsRunning() const;

private:
    pid_t pid_ = -1;
};

} // namespace bench
