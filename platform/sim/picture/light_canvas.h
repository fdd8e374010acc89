/** The light that a sensor receives from a scene, in the order of read-out: one number per pixel
 *  and colour filter.
 *
 *  A scene draws in the sensor's coordinates; the canvas keeps only the region that is read out,
 *  mirrored as the camera's settings ask, so that painting a picture reads it sequentially. Pixels
 *  beyond the edge of the sensor are black.
 *
 *  It stores the square root of the light: shot noise is proportional to it, and squaring it costs
 *  one multiplication. Pure; allocates only when the region is larger than any before. */
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

/** A rectangle in the sensor's coordinates, right and bottom edge excluded. It may reach beyond the
 *  sensor. */
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
    std::uint64_t first = 0;  ///< counted from the sensor's far end if `reversed`
    std::uint32_t step = 1;
    std::uint32_t count = 0;
    bool reversed = false;

    bool operator==(const Axis&) const = default;
};

/** One plane of a canvas: which columns it has and which colours it records. */
struct CanvasPlane {
    std::uint32_t phase; ///< it has column `phase` (from 0) of every `phases` columns
    std::uint32_t phases;
    std::array<unsigned, 2> channels; ///< of even and of odd rows; kGrey for light of all colours

    bool operator==(const CanvasPlane&) const = default;
};

class LightCanvas
{
public:
    /** Lays out the canvas. True when it is blank now, because any argument has changed. The array
     *  behind `planes` must outlive the canvas. */
    bool Set(const Axis& columns, const Axis& rows, std::span<const CanvasPlane> planes);
    /** Whether it shows anything of the sensor's row `y`. */
    bool ShowsRow(std::uint32_t y) const;
    void Fill(const Rect& rect, Light light);
    /** Paints each row of `rect` like `row`, which is as wide as the sensor. */
    void FillRows(const Rect& rect, const LightRow& row);

    /** A plane's row: 65536 times the square root of the light, where the brightest light is 1. */
    std::span<const std::uint16_t> Row(std::size_t plane, std::uint32_t y) const;
    /** Whether two rows of the canvas are alike in all planes. */
    bool Alike(std::uint32_t y, std::uint32_t other) const;

private:
    void Draw(const Rect& rect, const Light* row, std::size_t next);

    Axis columns_;
    Axis rows_;
    std::span<const CanvasPlane> planes_;
    std::vector<std::vector<std::uint16_t>> roots_; ///< by plane, row after row
};

} // namespace sim
