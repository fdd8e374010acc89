#include "sim/picture/light_meter.h"

namespace sim
{

namespace
{

/** Pixels that a wide row is judged by; a sum of 65536 rows of them fits 32 bits. */
constexpr std::uint32_t kPixelsOfRow = 256;

} // namespace

void LightMeter::Clear(std::uint32_t width, std::uint32_t pixelFormat)
{
    format_ = pixelFormat;
    // Odd, so that it meets all phases of patterns that repeat every 2, 4, 8 or 16 pixels.
    step_ = width / kPixelsOfRow | 1;
    count_ = 0;
    light_ = {};
    pixels_ = {};
}

void LightMeter::Add(const LightRow& row, std::uint32_t begin, std::uint32_t end,
                     std::uint32_t weight)
{
    const bool color = IsColor(format_);
    std::array<std::uint32_t, kChannels> sums{};
    std::uint32_t count = 0;
    for (std::uint32_t x = begin + step_ / 2; x < end; x += step_, ++count) {
        const std::uint16_t red = row.red[x];
        const std::uint16_t green = row.green[x];
        const std::uint16_t blue = row.blue[x];
        sums[kRed] += red;
        sums[kGreen] += green;
        sums[kBlue] += blue;
        if (!color) {
            pixels_[kGreen][GreyLight(red, green, blue)] += weight;
            continue;
        }
        pixels_[kRed][red] += weight;
        pixels_[kGreen][green] += weight;
        pixels_[kBlue][blue] += weight;
    }
    for (const Channel channel : {kRed, kGreen, kBlue}) {
        light_[channel] += std::uint64_t{sums[channel]} * weight;
    }
    count_ += std::uint64_t{count} * weight;
}

void LightMeter::AddBlack(std::uint32_t pixels, std::uint32_t weight)
{
    const std::uint32_t count = (pixels + step_ / 2) / step_ * weight;
    for (auto& channel : pixels_) {
        channel[0] += count;
    }
    count_ += count;
}

double LightMeter::MeanByte(const Response& response, Channel channel) const
{
    std::uint64_t sum = 0;
    for (std::size_t light = 0; light <= kLightMax; ++light) {
        const unsigned byte =
            response.Sample(channel, static_cast<std::uint16_t>(light)) >> (kSampleBits - 8);
        sum += std::uint64_t{pixels_[channel][light]} * byte;
    }
    return static_cast<double>(sum) / static_cast<double>(count_);
}

PictureLevels LightMeter::Levels(const Response& response) const
{
    PictureLevels levels;
    if (count_ == 0) {
        return levels;
    }
    for (const Channel channel : {kRed, kGreen, kBlue}) {
        levels.light[channel] =
            static_cast<double>(light_[channel]) / static_cast<double>(count_) / kLightMax;
    }
    const double green = MeanByte(response, kGreen);
    if (!IsColor(format_)) {
        levels.mean = green;
        return levels;
    }
    const double red = MeanByte(response, kRed);
    const double blue = MeanByte(response, kBlue);
    levels.mean = format_ == kBayerRg8 ? (red + 2 * green + blue) / 4
                                       : (77 * red + 150 * green + 29 * blue) / 256;
    return levels;
}

} // namespace sim
