/** A host that costs next to nothing, so that the driver alone is measured: the default services
 *  except for a few. */
#pragma once

#include <cstdint>

namespace bench
{

/** The state of the services; there is one object. */
struct Host {
    std::uint32_t frames = 0; ///< number of frames to grab; 0: no limit
    std::uint32_t buffers = 8;
    std::int32_t width = -1; ///< -1: the camera's own
    std::int32_t height = -1;
    void* context = nullptr; ///< handed to the two functions below
    /** Called when an image is triggered. */
    void (*triggered)(void* context, std::uint64_t timeUs) = nullptr;
    /** Called at each export. If it returns true, the driver is signalled to end the session. */
    bool (*exported)(void* context) = nullptr;
    bool endAsked = false;
    std::uint64_t ticks = 0; ///< camera time stamp of the newest frame

    static Host& Get();
};

} // namespace bench
