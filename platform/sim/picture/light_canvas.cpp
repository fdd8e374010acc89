#include "sim/picture/light_canvas.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace sim
{

namespace
{

struct Span {
    std::uint32_t begin;
    std::uint32_t end;
};

/** Which pixels of the canvas the sensor's pixels from `from` to `to` (exclusive) become. */
Span Within(const Axis& axis, std::int64_t from, std::int64_t to)
{
    const std::int64_t sensor = axis.sensor;
    from = std::clamp<std::int64_t>(from, 0, sensor);
    to = std::clamp<std::int64_t>(to, from, sensor);
    if (axis.reversed) {
        std::swap(from, to);
        from = sensor - from;
        to = sensor - to;
    }
    const auto index = [&](std::int64_t place) {
        const auto beyond =
            std::max<std::int64_t>(place - static_cast<std::int64_t>(axis.first), 0);
        return std::min((static_cast<std::uint32_t>(beyond) + axis.step - 1) / axis.step,
                        axis.count);
    };
    return {index(from), index(to)};
}

/** Position on the sensor of the canvas's pixel `index`. */
std::uint32_t PlaceOf(const Axis& axis, std::uint32_t index)
{
    const auto place = static_cast<std::uint32_t>(axis.first) + index * axis.step;
    return axis.reversed ? axis.sensor - 1 - place : place;
}

Axis ColumnsOf(const CanvasPlane& plane, const Axis& columns)
{
    Axis part = columns;
    part.first += std::uint64_t{plane.phase} * columns.step;
    part.step *= plane.phases;
    part.count = (columns.count + plane.phases - 1 - plane.phase) / plane.phases;
    return part;
}

std::uint32_t LevelOf(Light light, unsigned channel)
{
    switch (channel) {
    case kRed:
        return light.red;
    case kGreen:
        return light.green;
    case kBlue:
        return light.blue;
    default:
        return (77U * light.red + 150U * light.green + 29U * light.blue) >> 8;
    }
}

std::uint16_t RootOf(Light light, unsigned channel)
{
    const auto level = static_cast<float>(static_cast<std::int32_t>(LevelOf(light, channel)));
    const auto root = static_cast<std::int32_t>(std::sqrt(level) * 256 + 0.5F);
    return static_cast<std::uint16_t>(std::min(root, 65535));
}

/** After how many rows of a canvas the pattern of colour filters repeats. */
std::uint32_t PeriodOf(const CanvasPlane& plane)
{
    return plane.channels[0] == plane.channels[1] ? 1 : 2;
}

} // namespace

Rect Common(const Rect& a, const Rect& b)
{
    return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
            std::min(a.bottom, b.bottom)};
}

bool LightCanvas::Set(const Axis& columns, const Axis& rows, std::span<const CanvasPlane> planes)
{
    if (columns == columns_ && rows == rows_ && planes.data() == planes_.data()) {
        return false;
    }
    planes_ = {}; // until there is memory for all of them
    columns_ = columns;
    rows_ = rows;
    roots_.resize(std::max(roots_.size(), planes.size()));
    for (std::size_t i = 0; i < planes.size(); ++i) {
        roots_[i].assign(std::size_t{ColumnsOf(planes[i], columns).count} * rows.count, 0);
    }
    planes_ = planes;
    return true;
}

bool LightCanvas::ShowsRow(std::uint32_t y) const
{
    const Span rows = Within(rows_, y, std::int64_t{y} + 1);
    return rows.begin < rows.end;
}

void LightCanvas::Fill(const Rect& rect, Light light)
{
    Draw(rect, &light, 0);
}

void LightCanvas::FillRows(const Rect& rect, const LightRow& row)
{
    Draw(rect, row.data(), 1);
}

/** `next` is the distance in `row` from one column to the next; 0 for a row of one colour. */
void LightCanvas::Draw(const Rect& rect, const Light* row, std::size_t next)
{
    const Span rows = Within(rows_, rect.top, rect.bottom);
    for (std::size_t i = 0; i < planes_.size() && rows.begin < rows.end; ++i) {
        const CanvasPlane& plane = planes_[i];
        const Axis columns = ColumnsOf(plane, columns_);
        const Span part = Within(columns, rect.left, rect.right);
        const std::uint32_t period = PeriodOf(plane);
        for (std::uint32_t y = rows.begin; y < rows.end && part.begin < part.end; ++y) {
            std::uint16_t* roots = roots_[i].data() + std::size_t{y} * columns.count;
            if (y >= rows.begin + period) {
                const std::uint16_t* alike = roots - std::size_t{period} * columns.count;
                std::copy(alike + part.begin, alike + part.end, roots + part.begin);
                continue;
            }
            const unsigned channel = plane.channels[y % 2];
            if (next == 0) {
                std::fill(roots + part.begin, roots + part.end, RootOf(*row, channel));
                continue;
            }
            for (std::uint32_t x = part.begin; x < part.end; ++x) {
                roots[x] = RootOf(row[PlaceOf(columns, x)], channel);
            }
        }
    }
}

std::span<const std::uint16_t> LightCanvas::Row(std::size_t plane, std::uint32_t y) const
{
    const std::size_t count = ColumnsOf(planes_[plane], columns_).count;
    return {roots_[plane].data() + y * count, count};
}

bool LightCanvas::Alike(std::uint32_t y, std::uint32_t other) const
{
    for (std::size_t plane = 0; plane < planes_.size(); ++plane) {
        const auto row = Row(plane, y);
        if (!std::equal(row.begin(), row.end(), Row(plane, other).begin())) {
            return false;
        }
    }
    return true;
}

} // namespace sim
