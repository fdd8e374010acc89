/** Runs programs and measures their CPU time. */
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace bench
{

/** us of CPU time per second, while frames flow. */
struct Load {
    double receiver = 0; ///< the thread that receives
    double program = 0;  ///< all threads of the program that receives
    double sender = 0;   ///< the camera, and the kernel's threads that handle packets
};

struct Outcome {
    bool ended = false;    ///< exited with status 0
    bool hung = false;     ///< was killed since it took too long
    std::string output;    ///< standard output and error
    bool measured = false; ///< false: the run was too short, or nothing was received
    Load load;
};

enum class Rights { All, None }; ///< of real-time priority and all capabilities

/** Runs a program to its end, or kills it after `longestS` seconds. Its load is measured over
 * `watchedS` seconds, which begin shortly after the thread that receives frames has started; with 0
 * it is not measured. */
Outcome RunProgram(const std::vector<std::string>& words, Rights rights, double longestS,
                   double watchedS, pid_t camera);

/** A program that runs in the background; the destructor sends it SIGTERM. */
class Background
{
public:
    explicit Background(const std::vector<std::string>& words);
    ~Background();
    Background(const Background&) = delete;
    Background& operator=(const Background&) = delete;
    bool IsRunning() const;
    pid_t Pid() const { return pid_; }

private:
    pid_t pid_ = -1;
};

} // namespace bench
