/** Paints the frames: the simulated camera's moving pattern with the frame number, in the region,
 *  format and brightness that the registers ask for. */
#pragma once

#include "sim/picture/scene.h"
#include "tools/kvcam/registers.h"

#include <cstdint>
#include <span>

namespace kvcam
{

/** Used only by the thread that sends frames. */
class Picture
{
public:
    void Paint(const Registers& registers, std::uint32_t frameNumber,
               std::span<std::uint8_t> image);

private:
    sim::Scene scene_;
};

} // namespace kvcam
