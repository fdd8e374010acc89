/** What the newest frame of this process was, for the host (gev_host.h). */
#pragma once

#include "gev_host.h"

#include <mutex>

namespace gevplat
{

/** Threads: any. */
class NewestFrame
{
public:
    static NewestFrame& Get();
    void Delivered(const _tag_GEVBUF_ENTRY& frame);
    int Read(GEV_FRAME_FACTS* facts) const;

private:
    mutable std::mutex mutex_;
    GEV_FRAME_FACTS facts_{};
};

} // namespace gevplat
