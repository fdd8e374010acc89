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
 *  false patterns appear. All of it is worked out when the size changes, unless the sensor is so
 *  large that its rows are worked out one by one. */
class ScaledImage final : public LightSource
{
public:
    explicit ScaledImage(std::shared_ptr<const LightImage> image);

    void SetSize(std::uint32_t width, std::uint32_t height) override;
    void SetFrame(std::uint32_t) override {} // it stands still
    std::uint64_t Version() const override { return version_; }
    std::uint32_t Kinds() const override { return height_; }
    std::uint32_t RowKind(std::uint32_t y) const override { return y; }
    void PaintRow(std::uint32_t kind, LightRow* row) const override;

private:
    /** Which of a line's pixels make one of the sensor's, and with which weights (sum 1). */
    struct Taps {
        std::vector<std::uint32_t> first; ///< by the sensor's pixel
        std::uint32_t count = 0;          ///< for each
        std::vector<float> weights;       ///< `count` for each
    };
    static Taps TapsOf(std::uint32_t pixels, std::uint32_t imagePixels, double scale);
    void Scale(std::uint32_t y, std::uint16_t* planes) const;

    std::shared_ptr<const LightImage> image_;
    std::uint32_t width_ = 0;
    std::uint32_t height_ = 0;
    std::uint64_t version_ = 1;
    Taps columns_;
    Taps rows_;
    std::vector<std::uint16_t> scaled_; ///< by row and channel; empty if the sensor is too large
    mutable std::vector<std::uint16_t> planes_; ///< one row in that case
    mutable std::vector<float> mixed_;          ///< rows of the picture mixed into one
};

} // namespace sim
