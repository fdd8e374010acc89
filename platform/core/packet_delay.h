/** The inter-packet delay that the host wants, whatever the driver sets (gev_host.h). */
#pragma once

#include "gev_api.h"

#include <atomic>
#include <cstdint>

namespace gevplat
{

class PacketDelay
{
public:
    /** Negative: as the driver sets it. */
    static void Set(std::int32_t us) { us_.store(us); }

    static GEV_CAMERA_OPTIONS AppliedTo(GEV_CAMERA_OPTIONS options)
    {
        const std::int32_t us = us_.load();
        if (us >= 0) {
            options.streamPacketDelay = static_cast<std::uint32_t>(us);
        }
        return options;
    }

private:
    inline static std::atomic<std::int32_t> us_{-1};
};

} // namespace gevplat
