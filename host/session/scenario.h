/** The scenario parameters as last published by the driver. Grab thread only. */
#pragma once

#include "memory/frame_values.h"

#include <cstdint>
#include <string>

namespace kvgrab
{

struct Scenario {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::string codec;
    std::uint32_t tickNs = 0;
    std::uint64_t frameTimeUs = 0;
    std::uint32_t inputEvent = 0;
    std::uint32_t inputValue = 0;
    FrameValues frame;

    /** Copies the value of a KvTd::ScenarioParam; -1 for an unknown id or a null value. */
    int Set(std::uint32_t id, const void* value);
};

} // namespace kvgrab
