#include "sim/picture/scaled_image.h"

#include <algorithm>
#include <cmath>

namespace sim
{

/** `scale` is pixels of the picture per pixel of the sensor. The weights form a triangle around the
 *  position on the picture, which reaches one pixel to either side when the picture is enlarged and
 *  `scale` pixels when it is reduced. */
ScaledImage::Taps ScaledImage::TapsOf(std::uint32_t pixels, std::uint32_t imagePixels, double scale)
{
    const double reach = std::max(scale, 1.0);
    Taps taps;
    taps.count = std::min(static_cast<std::uint32_t>(std::ceil(2 * reach)) + 1, imagePixels);
    taps.first.reserve(pixels);
    taps.weights.reserve(std::size_t{pixels} * taps.count);
    for (std::uint32_t i = 0; i < pixels; ++i) {
        // The centres coincide; positions refer to the centres of pixels.
        const double place = (i + 0.5 - pixels / 2.0) * scale + imagePixels / 2.0 - 0.5;
        const double first =
            std::clamp<double>(std::floor(place - reach) + 1, 0, imagePixels - taps.count);
        taps.first.push_back(static_cast<std::uint32_t>(first));
        double sum = 0;
        for (std::uint32_t tap = 0; tap < taps.count; ++tap) {
            sum += std::max(1 - std::abs(first + tap - place) / reach, 0.0);
        }
        for (std::uint32_t tap = 0; tap < taps.count; ++tap) {
            const double weight = std::max(1 - std::abs(first + tap - place) / reach, 0.0);
            taps.weights.push_back(static_cast<float>(weight / sum));
        }
    }
    return taps;
}

void ScaledImage::SetSize(std::uint32_t width, std::uint32_t height)
{
    if (width == columns_.first.size() && height == rows_.first.size()) {
        return;
    }
    const double scale = std::min(static_cast<double>(image_->Width()) / width,
                                  static_cast<double>(image_->Height()) / height);
    columns_ = TapsOf(width, image_->Width(), scale);
    rows_ = TapsOf(height, image_->Height(), scale);
    mixed_.resize(std::size_t{image_->Width()} * image_->Channels());
    row_.resize(width);
}

/** Computes row `y` of the sensor into `row_`. */
void ScaledImage::Scale(std::uint32_t y)
{
    std::fill(mixed_.begin(), mixed_.end(), 0.0F);
    for (std::uint32_t tap = 0; tap < rows_.count; ++tap) {
        const float weight = rows_.weights[std::size_t{y} * rows_.count + tap];
        if (weight == 0) {
            continue;
        }
        const std::uint16_t* row = image_->Row(rows_.first[y] + tap);
        for (std::size_t i = 0; i < mixed_.size(); ++i) {
            mixed_[i] += weight * static_cast<float>(row[i]);
        }
    }
    const std::uint32_t channels = image_->Channels();
    const float* weights = columns_.weights.data();
    for (std::size_t x = 0; x < row_.size(); ++x, weights += columns_.count) {
        const float* pixels = mixed_.data() + std::size_t{columns_.first[x]} * channels;
        const auto level = [&](std::uint32_t channel) {
            float sum = 0.5F;
            for (std::uint32_t tap = 0; tap < columns_.count; ++tap) {
                sum += weights[tap] * pixels[std::size_t{tap} * channels + channel];
            }
            return static_cast<std::uint16_t>(std::min(sum, float{kLightMax}));
        };
        const std::uint16_t first = level(0);
        row_[x] = channels == 1 ? Light{first, first, first} : Light{first, level(1), level(2)};
    }
}

void ScaledImage::Draw(std::uint32_t, LightCanvas* canvas)
{
    for (std::uint32_t y = 0; y < rows_.first.size(); ++y) {
        if (canvas->ShowsRow(y)) {
            Scale(y);
            canvas->FillRows({0, y, static_cast<std::int64_t>(row_.size()), std::int64_t{y} + 1},
                             row_);
        }
    }
}

} // namespace sim
