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
    std::uint64_t cameraFrameNumber = 0; ///< the camera's own number of the frame; 0: none
    std::uint64_t captureTimeNs = 0;     ///< since the epoch; 0: none
};

/** What the platform knows of the frame that it delivered last; all 0: nothing. */
struct FrameFacts {
    std::uint64_t number = 0; ///< the camera's own; 0: it has none
    std::uint64_t cameraTicks = 0;
    std::int64_t arrivalNs = 0; ///< on the host's real-time clock; 0: not known
};

} // namespace kvgrab
