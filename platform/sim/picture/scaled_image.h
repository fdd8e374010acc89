/** A picture from the user in front of the sensor. */
#pragma once

#include "sim/picture/light_image.h"
#include "sim/picture/light_source.h"

#include <memory>
#include <vector>

namespace sim
{

/** Fills the sensor with the picture: centred, and enlarged or reduced so that it covers the whole
 *  sensor; where the shapes differ it is cropped at two opposite sides. Each pixel of the sensor is
 *  the mean, weighted by distance, of the picture's pixels that it covers, so that neither steps
 *  nor moire patterns appear. */
class ScaledImage final : public LightSource
{
public:
    explicit ScaledImage(std::shared_ptr<const LightImage> image) : image_(std::move(image)) {}

    void SetSize(std::uint32_t width, std::uint32_t height) override;
    void Draw(std::uint32_t frameNumber, LightCanvas* canvas) override;
    void Move(std::uint32_t, std::uint32_t, LightCanvas*) override {} // it never moves

private:
    /** Which pixels of a line contribute to a pixel of the sensor, and with which weights (sum 1).
     */
    struct Taps {
        std::vector<std::uint32_t> first; ///< for each pixel of the sensor
        std::uint32_t count = 0;          ///< contributing pixels for each
        std::vector<float> weights;       ///< `count` for each
    };
    static Taps TapsOf(std::uint32_t pixels, std::uint32_t imagePixels, double scale);
    void Scale(std::uint32_t y);

    std::shared_ptr<const LightImage> image_;
    Taps columns_;
    Taps rows_;
    std::vector<float> mixed_; ///< weighted mean of rows of the picture
    LightRow row_;             ///< the same scaled to the sensor's width
};

} // namespace sim
