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

#include "sim/picture/digits.h"
#include "sim/picture/light_source.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace sim
{

class TestPattern final : public LightSource
{
public:
    void SetSize(std::uint32_t width, std::uint32_t height) override;
    void SetFrame(std::uint32_t frameNumber) override;
    std::uint64_t Version() const override { return version_; }
    std::uint32_t Kinds() const override { return kRowKinds; }
    std::uint32_t RowKind(std::uint32_t y) const override { return kinds_[y]; }
    void PaintRow(std::uint32_t kind, LightRow* row) const override;

    /** How many different rows there are at most. */
    static constexpr std::uint32_t kRowKinds = 12 + 2 * kGlyphRows;

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
    std::uint64_t version_ = 1;
    std::vector<std::uint8_t> kinds_;
    LightRow hues_; ///< rows, or grounds of rows, that stay the same from frame to frame
    LightRow fade_;
    LightRow ramp_;
    LightRow steps_;
};

} // namespace sim
