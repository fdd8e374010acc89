/** Checks of what must be true at the end of a session, whatever was injected into it, by the
 *  journal and the log. Each check adds a sentence for each violation. */
#pragma once

#include "tests/support/rig.h"

#include <fmt/format.h>

#include <string>
#include <vector>

namespace faults
{

/** A sentence for each thing that is wrong. */
struct Findings {
    std::vector<std::string> sentences;

    template <class... Args>
    void AddIf(bool wrong, fmt::format_string<const Args&...> sentence, const Args&... args)
    {
        if (wrong) {
            sentences.push_back(fmt::format(sentence, args...));
        }
    }
};

/** How a fault has changed the session, as far as the checks have to know. */
struct Circumstances {
    bool factoryUsed = true;  ///< the camera gets the host's buffers in each run of the loop
    unsigned nullFrames = 0;  ///< waits that succeed without a frame
    bool buffersGone = false; ///< the host returns a buffer once and then null
    bool orderly = false;     ///< nothing keeps a loop from stopping the camera at its end
};

/** Cameras were closed, transfers freed and calls shut down, each once and in order; frames that
 *  came were released; no call had arguments that make no sense. */
void CheckCalls(const Circumstances& circumstances, Findings* findings);

/** The exit code is a documented one and agrees with the log. */
void CheckExitCode(const rig::FakeHost& host, int exitCode, Findings* findings);

} // namespace faults
