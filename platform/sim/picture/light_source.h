/** A scene in front of a sensor, row by row. */
#pragma once

#include "sim/picture/light_row.h"

#include <cstdint>

namespace sim
{

/** Rows that look alike have one number, their kind: whoever paints a picture works a row out once
 *  and copies it from then on. For one thread; allocates only when the size changes. */
class LightSource
{
public:
    virtual ~LightSource() = default;

    virtual void SetSize(std::uint32_t width, std::uint32_t height) = 0;
    virtual void SetFrame(std::uint32_t frameNumber) = 0;
    /** Another number whenever rows may look otherwise than before. */
    virtual std::uint64_t Version() const = 0;
    /** Kinds are below this. */
    virtual std::uint32_t Kinds() const = 0;
    /** Which kind of row stands at `y`, below the height set. */
    virtual std::uint32_t RowKind(std::uint32_t y) const = 0;
    /** `row` is as wide as was set. */
    virtual void PaintRow(std::uint32_t kind, LightRow* row) const = 0;
};

} // namespace sim
