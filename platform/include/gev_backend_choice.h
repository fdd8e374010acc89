/** Which backends this process uses, and where the messages of the platform layer go. For hosts; a
 *  driver uses the backends that its host has chosen. */
#pragma once

#include "gen_api.h"

#include <functional>
#include <string>

namespace gevplat
{

struct BackendChoice {
    bool simulated = true; ///< in this process (sim_control.h)
    bool network = false;  ///< GigE Vision; needs libgevplat-net.so.0
    /** Name or address of the network interface that network cameras are looked for on; empty: all
     *  interfaces. */
    std::string interface;
    /** For how long a network camera may be silent before it counts as absent, in milliseconds. */
    int patienceMs = 1500;
    /** Frames are received by the platform itself; false: by the network library. */
    bool ownReceiver = true;
    /** Of the platform's receiving thread: real-time priority (SCHED_FIFO, 1 to 99; 0: none), and
     * the CPU that it is bound to (-1: none). It runs without where the system doesn't permit them,
     * and the log says so. */
    int receivePriority = 0;
    int receiveCpu = -1;
};

/** Takes effect at the next listing; without a choice there are only the simulated cameras. The
 *  library of the network backend is looked for next to this one, then where the system looks.
 *  False: it can't be loaded, or there is no such interface; `*error` is a sentence that says why,
 *  and the previous choice stays. Open cameras stay open. */
GEVPLAT_API bool ChooseBackends(const BackendChoice& choice, std::string* error);

/** Takes a line for the host's log. Levels: 1 error, 2 warning, 3 information, 4 detail. Called on
 *  any thread that calls the platform, and on the backends' own threads. */
using LogSink = std::function<void(int level, const std::string& text)>;

/** Null, as at the start: messages are dropped. Once this returns, the previous sink is not called
 *  any more. */
GEVPLAT_API void SetLogSink(LogSink sink);

} // namespace gevplat
