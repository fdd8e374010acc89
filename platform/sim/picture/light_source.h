/** A scene in front of a sensor. */
#pragma once

#include "sim/picture/light_canvas.h"

#include <cstdint>

namespace sim
{

/** Used by one thread; allocates only when the size changes. */
class LightSource
{
public:
    virtual ~LightSource() = default;

    /** The size of the sensor in pixels, neither of them 0. */
    virtual void SetSize(std::uint32_t width, std::uint32_t height) = 0;
    /** Draws all of the sensor. */
    virtual void Draw(std::uint32_t frameNumber, LightCanvas* canvas) = 0;
    /** Draws only what differs from the frame that the canvas shows. */
    virtual void Move(std::uint32_t fromFrame, std::uint32_t toFrame, LightCanvas* canvas) = 0;
};

} // namespace sim
