/** A host that costs next to nothing, so that what is measured is the driver. */
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace bench
{

/** There is one; the services answer from it. */
struct Host {
    std::uint32_t frames = 0; ///< to grab; 0: for ever
    std::uint32_t buffers = 8;
    std::int32_t width = -1; ///< -1: the camera's own
    std::int32_t height = -1;
    /** Called at the trigger of an image. */
    void (*triggered)(void* context, std::uint64_t timeUs) = nullptr;
    void* context = nullptr;
    /** Called at each export; the session ends with the next signal state when it says so. */
    bool (*exported)(void* context) = nullptr;
    bool endAsked = false;
    std::uint64_t ticks = 0; ///< camera time stamp of the newest frame
    std::vector<std::uint8_t> memory;
    std::size_t stride = 0;

    static Host& Get();
};

} // namespace bench
