/** A picture of the user's in front of the sensor. */
#pragma once

#include "sim/picture/light_image.h"
#include "sim/picture/light_source.h"

#include <memory>
#include <vector>

namespace sim
{

/** Fills the sensor with the picture: enlarged or reduced so that both sides are covered, its
 *  middle on the sensor's; what is too long for the sensor's shape is cut off at both ends. Pixels
 *  are weighted by distance, over as many as make one of the sensor's, so that neither steps nor
 *  false patterns appear. */
class ScaledImage final : public LightSource
{
public:
    explicit ScaledImage(std::shared_ptr<const LightImage> image) : image_(std::move(image)) {}

    void SetSize(std::uint32_t width, std::uint32_t height) override;
    void Draw(std::uint32_t frameNumber, LightCanvas* canvas) override;
    void Move(std::uint32_t, std::uint32_t, LightCanvas*) override {} // it stands still

private:
    /** Which of a line's pixels make one of the sensor's, and with which weights (sum 1). */
    struct Taps {
        std::vector<std::uint32_t> first; ///< by the sensor's pixel
        std::uint32_t count = 0;          ///< for each
        std::vector<float> weights;       ///< `count` for each
    };
    static Taps TapsOf(std::uint32_t pixels, std::uint32_t imagePixels, double scale);
    void Scale(std::uint32_t y);

    std::shared_ptr<const LightImage> image_;
    Taps columns_;
    Taps rows_;
    std::vector<float> mixed_; ///< rows of the picture mixed into one
    LightRow row_;             ///< and that one scaled
};

} // namespace sim
