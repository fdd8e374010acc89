/** Runs programs and measures their CPU time. */
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace bench
{

struct Outcome {
    bool ended = false; ///< exited with status 0
    std::string output; ///< standard output and error
    double load = 0;    ///< us of CPU time per second while frames flow; 0: the run was too short
};

enum class Rights { All, NoRealTime };

/** Runs a program to its end. Its load is measured over `watchedS` seconds, which begin shortly
 *  after the thread that receives frames has started; with 0 it is not measured. */
Outcome RunProgram(const std::vector<std::string>& words, Rights rights, double watchedS);

/** A program that runs in the background; the destructor sends it SIGTERM. */
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
