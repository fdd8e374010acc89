/** The generated scene: a test picture in linear light that moves with the frame number.
 *
 *  From top to bottom: a strip with the frame number over and over (so that a region shows it too),
 *  colour bars, hues, the large frame number with an arrow that points up, a grey ramp and steps
 *  that a bar wanders over, the strip again, a scrolling chequer, fine line pairs, the strip.
 *  A bright line with a dark one inside marks the edges of the sensor.
 *
 *  It is made of few different rows, each repeated many times: whoever paints it works out a row
 *  once and copies it from then on. A pure unit for one thread; allocates when the size changes. */
#pragma once

#include "digits.h"
#include "light_row.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace sim
{

class TestPattern
{
public:
    /** How many different rows there are at most; a row's number is below. */
    static constexpr std::uint32_t kRowKinds = 12 + 2 * kGlyphRows;

    void SetSize(std::uint32_t width, std::uint32_t height);
    void SetFrame(std::uint32_t frameNumber);

    /** Which of the different rows stands at `y`, below the height set. */
    std::uint32_t RowKind(std::uint32_t y) const { return kinds_[y]; }
    /** `row` is as wide as the pattern. */
    void PaintRow(std::uint32_t kind, LightRow* row) const;

private:
    void PrepareRows();
    void PaintStripText(std::uint32_t glyphRow, LightRow* row) const;
    void PaintNumber(std::optional<std::uint32_t> glyphRow, LightRow* row) const;
    void MapText(std::uint32_t top, std::uint32_t bottom, std::uint32_t scale,
                 std::uint32_t plainKind, std::uint32_t firstGlyphKind);

    std::uint32_t width_ = 0;
    std::uint32_t height_ = 0;
    std::uint32_t edge_ = 1;        ///< thickness of the lines along the edges, pixels
    std::uint32_t largeScale_ = 1;  ///< pixels per cell of the large number
    std::uint32_t stripScale_ = 1;  ///< and of the repeated one
    std::uint32_t chequerSize_ = 1; ///< pixels
    std::uint32_t frameNumber_ = 0;
    std::vector<std::uint8_t> kinds_;
    LightRow hues_; ///< rows, or grounds of rows, that stay the same from frame to frame
    LightRow fade_;
    LightRow ramp_;
    LightRow steps_;
};

} // namespace sim
