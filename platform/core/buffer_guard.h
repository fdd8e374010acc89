/** The host's say in which buffers are filled (gev_host.h). */
#pragma once

#include "gev_host.h"

#include <mutex>

namespace gevplat
{

/** One for the process, exported like Interruption. Threads: any; one at a time is let through. */
class GEVPLAT_API BufferGuard
{
public:
    /** Returns when the guard before isn't running any more. */
    static void Set(GEV_BUFFER_GUARD guard, void* context);
    static bool MayFill(void* buffer, bool lastChoice);

private:
    static std::mutex mutex_;
    static GEV_BUFFER_GUARD guard_;
    static void* context_;
};

} // namespace gevplat
