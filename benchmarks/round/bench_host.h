/** A host that costs next to nothing, so that what is measured is the driver: the default services,
 *  but for a few. */
#pragma once

#include <cstdint>

namespace bench
{

/** There is one, from which the services answer. */
struct Host {
    std::uint32_t frames = 0; ///< to grab; 0: for ever
    std::uint32_t buffers = 8;
    std::int32_t width = -1; ///< -1: the camera's own
    std::int32_t height = -1;
    void* context = nullptr; ///< handed to the two functions below
    /** Called when an image is triggered. */
    void (*triggered)(void* context, std::uint64_t timeUs) = nullptr;
    /** Called at each export. When it returns true the session is asked to end. */
    bool (*exported)(void* context) = nullptr;
    bool endAsked = false;
    std::uint64_t ticks = 0; ///< camera time stamp of the newest frame

    static Host& Get();
};

} // namespace bench
