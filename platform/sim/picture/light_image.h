/** A picture from the user, in linear light. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace sim
{

/** Never changes once loaded; any thread may read it. */
class LightImage
{
public:
    /** Most pixels that a picture may have; each takes up to eight bytes of memory. */
    static constexpr std::uint64_t kMostPixels = std::uint64_t{1} << 25;
    /** Most pixels along one side, the same as of the largest sensor. */
    static constexpr std::uint32_t kMostSide = 65536;

    /** Reads a PNG file of any colour type and depth. Values are taken as sRGB and converted to
     *  linear light: at the reference exposure, white just comes out as white. Transparent pixels
     *  are blended with black.
     *
     *  Throws `std::runtime_error` with a sentence that names the file and its fault. */
    static std::shared_ptr<const LightImage> Load(const std::string& path);

    std::uint32_t Width() const { return width_; }
    std::uint32_t Height() const { return height_; }
    /** Values per pixel: 1 (grey), or 3 (red, green, blue). */
    std::uint32_t Channels() const { return channels_; }
    /** Row `y`: `Width()` pixels of `Channels()` values from 0 to kLightMax. */
    const std::uint16_t* Row(std::uint32_t y) const
    {
        return values_.data() + std::size_t{y} * width_ * channels_;
    }

private:
    LightImage() = default;

    std::uint32_t width_ = 0;
    std::uint32_t height_ = 0;
    std::uint32_t channels_ = 0;
    std::vector<std::uint16_t> values_;
};

} // namespace sim
