/** One slot of the exporter. */
#pragma once

#include "export/exporter.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kvgrab
{

/** A frame to be written. Used by the grab thread until it is accepted, then by one worker. */
struct ExportSlot {
    std::vector<std::uint8_t> pixels; ///< at least `bytes`, never shrinks
    std::size_t bytes = 0;
    std::uint64_t number = 0;
    FrameView values; ///< without pixels; its codec is the copy below
    std::array<char, 24> codec = {};
    std::size_t fileBytes = 0; ///< 0: the frame could not be written
    bool done = false;
};

} // namespace kvgrab
