/** Lets a command that holds a camera give it back before a signal ends the program. */
#pragma once

#include "file_handle.h"

#include <atomic>
#include <thread>

namespace kvgrab
{

/** As long as it lives, INT, TERM, QUIT and HUP interrupt the cameras, so that what the command
 *  does with its camera fails, and the camera is closed. The signal then takes its usual effect:
 *  when the object is destroyed, or two seconds after the signal if the command hasn't ended by
 *  then.
 *
 *  Not for `kvgrab run`, which has a SignalCatcher. One object at a time. */
class CommandSignals
{
public:
    CommandSignals();
    ~CommandSignals();
    CommandSignals(const CommandSignals&) = delete;
    CommandSignals& operator=(const CommandSignals&) = delete;

private:
    void Run();
    void Await(int milliseconds); ///< -1: without limit

    FileHandle wakeUp_; ///< an eventfd: a signal came, or the command ended
    std::thread thread_;
    std::atomic<bool> ended_{false};
};

} // namespace kvgrab
