/** What has to hold at the end of a session, whatever was put into it: looked up in the journal and
 *  in the log. Each check adds a sentence for what is wrong. */
#pragma once

#include "tests/support/rig.h"

#include <string>
#include <vector>

namespace faults
{

/** What of the session a fault has changed, as far as the checks have to know. */
struct Circumstances {
    bool factoryUsed = true;  ///< the camera gets the host's buffers in each run of the loop
    unsigned nullFrames = 0;  ///< waits that succeed without a frame
    bool buffersGone = false; ///< the host tells a buffer once and then no more
    bool orderly = false;     ///< nothing keeps a loop from stopping the camera at its end
};

/** Cameras closed, transfers freed and calls shut down, each once and in this order; frames that
 *  came were released. Nothing was called with what makes no sense. */
void CheckCalls(const Circumstances& circumstances, std::vector<std::string>* wrong);

/** The exit code is a documented one, and the one of what the log told. */
void CheckExitCode(const rig::FakeHost& host, int exitCode, std::vector<std::string>* wrong);

} // namespace faults
