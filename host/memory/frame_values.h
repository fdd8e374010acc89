/** What is known of a frame besides its pixels and its time. */
#pragma once

#include <cstdint>

namespace kvgrab
{

struct FrameValues {
    std::uint64_t cameraTicks = 0;
    std::uint32_t frameCounter = 0;
    float gainDb = 0;
    float exposureUs = 0;
};

} // namespace kvgrab
