/** How much of a picture has which level of light, and from that how bright the picture is at any
 *  exposure, gain, white balance and tone. Pure; never allocates. */
#pragma once

#include "sim/picture/light_row.h"
#include "sim/picture/response.h"

#include <array>
#include <cstdint>

namespace sim
{

class LightMeter
{
public:
    /** Starts a new count, for pictures of this width and format. Of wide ones only some columns
     *  are counted, evenly spread, so that a picture costs a small part of its pixels. */
    void Clear(std::uint32_t width, std::uint32_t pixelFormat);
    /** Counts the pixels from `begin` until before `end`, `weight` times. */
    void Add(const LightRow& row, std::uint32_t begin, std::uint32_t end, std::uint32_t weight);
    /** Counts `pixels` pixels without any light, `weight` times. */
    void AddBlack(std::uint32_t pixels, std::uint32_t weight);
    /** Of the pixels counted; 0 without any. `response` is set for a picture of the same format.
     *  The mean is that of the high 8 bits of the samples of a mono format, of BT.601 luma for
     *  YUV, and of the mosaic's bytes as they would be if each colour saw all of the scene. */
    PictureLevels Levels(const Response& response) const;

private:
    double MeanByte(const Response& response, Channel channel) const;

    std::uint32_t format_ = 0;
    std::uint32_t step_ = 1; ///< from one counted column to the next
    std::uint64_t count_ = 0;
    std::array<std::uint64_t, kChannels> light_{}; ///< sums
    /** Pixels by level; a mono format has one histogram, of grey, in the place of green. */
    std::array<std::array<std::uint32_t, kLightMax + 1>, kChannels> pixels_{};
};

} // namespace sim
