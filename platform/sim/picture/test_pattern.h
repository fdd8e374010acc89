/** The generated scene: a test picture in linear light that moves with the frame number.
 *
 *  From top to bottom: a strip with the frame number repeated (so that a small region shows it,
 *  too), colour bars, hues, the large frame number with an arrow that points up, a grey ramp and
 *  grey steps with a moving bar, the strip again, a scrolling chequerboard, fine line pairs, the
 *  strip. A bright line with a dark one inside it marks the edges of the sensor. */
#pragma once

#include "sim/picture/digits.h"
#include "sim/picture/light_source.h"

#include <cstdint>

namespace sim
{

class TestPattern final : public LightSource
{
public:
    void SetSize(std::uint32_t width, std::uint32_t height) override;
    void Draw(std::uint32_t frameNumber, LightCanvas* canvas) override;
    void Move(std::uint32_t fromFrame, std::uint32_t toFrame, LightCanvas* canvas) override;

private:
    /** The sensor's area without `by` pixels along each edge. */
    Rect Inset(std::int64_t by) const;
    void DrawColumns(const Rect& band, Light (*lightAt)(std::uint32_t x, std::uint32_t width),
                     LightCanvas* canvas);
    Rect Bar(const Rect& band, std::uint32_t frameNumber) const;
    void DrawRamp(const Rect& part, std::uint32_t levels, bool inBar, LightCanvas* canvas);
    void DrawChequer(const Rect& band, std::uint32_t frameNumber, LightCanvas* canvas);
    void DrawStrip(const Rect& band, const NumberText& from, const NumberText& to,
                   LightCanvas* canvas) const;
    void DrawPanel(const Rect& band, const NumberText& text, LightCanvas* canvas) const;
    /** Draws the moving parts. The canvas shows the number `from`, and otherwise frame `fromFrame`.
     */
    void DrawMoving(const NumberText& from, std::uint32_t fromFrame, std::uint32_t frameNumber,
                    LightCanvas* canvas);

    std::uint32_t width_ = 0;
    std::uint32_t height_ = 0;
    std::uint32_t edge_ = 1; ///< thickness of the lines along the edges, pixels
    LightRow row_;           ///< the row that is being drawn
};

} // namespace sim
