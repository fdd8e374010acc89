/** Programs run by the benchmark, and what they cost. */
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace bench
{

struct Cost {
    bool ended = false; ///< by itself, with status 0
    std::string output; ///< standard output and error
    double cpuUs = 0;   ///< user and system time, all threads
};

/** Runs a program to its end. */
Cost RunProgram(const std::vector<std::string>& words);

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
