/** Programs run by the benchmark, and what they cost. */
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace bench
{

struct Outcome {
    bool ended = false; ///< by itself, with status 0
    std::string output; ///< standard output and error
    double load = 0;    ///< us of CPU a second while frames flow; 0: it did not run long enough
};

enum class Rights { All, NoRealTime };

/** Runs a program to its end. Its load is taken over `watchedS` seconds that begin soon after it
 *  has a thread that receives frames; 0: not at all. */
Outcome RunProgram(const std::vector<std::string>& words, Rights rights, double watchedS);

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
