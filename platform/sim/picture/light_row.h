/** One row of what a sensor sees: levels of light per pixel and channel. */
#pragma once

#include "sim/picture/picture_job.h"

#include <cstdint>
#include <vector>

namespace sim
{

/** One row of the scene, sensor coordinates, levels of light from 0 to kLightMax. */
struct LightRow {
    std::vector<std::uint16_t> red;
    std::vector<std::uint16_t> green;
    std::vector<std::uint16_t> blue;

    void Resize(std::uint32_t width)
    {
        red.resize(width);
        green.resize(width);
        blue.resize(width);
    }
};

/** What a sensor without filters sees of a light. */
constexpr std::uint16_t GreyLight(std::uint16_t red, std::uint16_t green, std::uint16_t blue)
{
    return static_cast<std::uint16_t>((77U * red + 150U * green + 29U * blue) >> 8);
}

} // namespace sim
