/** Which backends this process uses, and where the messages of the platform layer go.
 *  For hosts; a driver takes what is there. */
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
};

/** Holds from the next listing on; until somebody chooses, there are the simulated cameras alone.
 *  The library of the network backend is looked for beside this one, then where the system looks.
 *  False: it can't be loaded, or there is no such interface; `*error` is a sentence that says so,
 *  and the choice before holds. Cameras that are open stay so. */
GEVPLAT_API bool ChooseBackends(const BackendChoice& choice, std::string* error);

/** A line for the host's log. Levels as everywhere: 1 error, 2 warning, 3 information, 4 detail.
 *  Called from any thread that calls the platform, and from threads of a backend's own. */
using LogSink = std::function<void(int level, const std::string& text)>;

/** Null: nobody listens, as at the start. When it returns, the sink before is not called any more.
 */
GEVPLAT_API void SetLogSink(LogSink sink);

} // namespace gevplat
