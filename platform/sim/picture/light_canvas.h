/** What a sensor sees of a scene, as it is read out: one number per pixel and colour filter.
 *
 *  A scene draws in the sensor's coordinates; the canvas keeps the part that a region shows, turned
 *  the way it is read out, so that a picture reads it from front to back. What lies beyond the edge
 *  of the sensor is black.
 *
 *  It keeps the square root of the light: shot noise is proportional to it, and squaring it costs
 *  one multiplication. Pure; allocates only for a larger region than before. */
#pragma once

#include "sim/picture/picture_job.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace sim
{

/** Levels from 0 to kLightMax. */
struct Light {
    std::uint16_t red;
    std::uint16_t green;
    std::uint16_t blue;
};
using LightRow = std::vector<Light>; ///< by column of the sensor

/** Of the sensor, the far edges excluded; any numbers will do. */
struct Rect {
    std::int64_t left;
    std::int64_t top;
    std::int64_t right;
    std::int64_t bottom;
};
Rect Common(const Rect& a, const Rect& b);

/** Which pixels of the sensor are read out along one side. */
struct Axis {
    std::uint32_t sensor = 0; ///< pixels of the sensor
    std::uint64_t first = 0;  ///< counted from its far end if `reversed`
    std::uint32_t step = 1;
    std::uint32_t count = 0;
    bool reversed = false;

    bool operator==(const Axis&) const = default;
};

/** What a canvas keeps of each pixel. */
struct CanvasPlane {
    std::uint32_t phase; ///< of every `phases` columns it has the one behind `phase`
    std::uint32_t phases;
    std::array<unsigned, 2> channels; ///< seen by even and by odd rows; kGrey for all light

    bool operator==(const CanvasPlane&) const = default;
};

class LightCanvas
{
public:
    /** True when the canvas is blank because anything of this is another than before. `planes` are
     *  constants. */
    bool Set(const Axis& columns, const Axis& rows, std::span<const CanvasPlane> planes);
    /** Whether it shows anything of the sensor's row `y`. */
    bool ShowsRow(std::uint32_t y) const;
    void Fill(const Rect& rect, Light light);
    /** Paints each row of `rect` like `row`, which is as wide as the sensor. */
    void FillRows(const Rect& rect, const LightRow& row);

    /** The roots of a plane's row: 65536 times that of light as a share of the brightest. */
    std::span<const std::uint16_t> Row(std::size_t plane, std::uint32_t y) const;
    /** Whether two rows of the canvas are alike in all planes. */
    bool Alike(std::uint32_t y, std::uint32_t other) const;

private:
    void Draw(const Rect& rect, const Light* row, std::size_t next);

    Axis columns_;
    Axis rows_;
    std::span<const CanvasPlane> planes_;
    std::vector<std::vector<std::uint16_t>> roots_; ///< by plane, row behind row
};

} // namespace sim
