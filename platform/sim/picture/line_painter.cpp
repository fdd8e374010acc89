#include "sim/picture/line_painter.h"

#include "sim/picture/noisy_uyvy.h"
#include "sim/picture/pixel_packing.h"

#include <algorithm>

namespace sim
{

namespace
{

/** The region's columns of a row of light: where they lie if that will do, or copied to `room`. */
const std::uint16_t* Cut(const PictureJob& job, const std::vector<std::uint16_t>& row,
                         std::vector<std::uint16_t>& room)
{
    const Columns columns(job);
    const std::uint16_t* begin = row.data() + columns.begin;
    const std::uint16_t* end = row.data() + columns.end;
    const std::uint32_t inside = columns.end - columns.begin;
    if (inside == job.width && !job.reverseX) {
        return begin;
    }
    if (job.reverseX) {
        std::reverse_copy(begin, end, room.begin());
    } else {
        std::copy(begin, end, room.begin());
    }
    std::fill(room.begin() + inside, room.begin() + job.width, std::uint16_t{0});
    return room.data();
}

void CutGrey(const PictureJob& job, const LightRow& row, std::uint16_t* out)
{
    const Columns columns(job);
    const std::uint32_t count = columns.end - columns.begin;
    const std::uint16_t* red = row.red.data() + columns.begin;
    const std::uint16_t* green = row.green.data() + columns.begin;
    const std::uint16_t* blue = row.blue.data() + columns.begin;
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = GreyLight(red[i], green[i], blue[i]);
    }
    if (job.reverseX) {
        std::reverse(out, out + count);
    }
    std::fill(out + count, out + job.width, std::uint16_t{0});
}

/** Which colours a line of a mosaic sees, at its even and its odd places. */
struct TilePair {
    Channel even;
    Channel odd;
};
TilePair ColorsOf(Tiles tiles)
{
    return tiles == Tiles::Red ? TilePair{kRed, kGreen} : TilePair{kGreen, kBlue};
}

using Plane = std::vector<std::uint16_t> LightRow::*;
constexpr Plane kPlanes[kChannels] = {&LightRow::red, &LightRow::green, &LightRow::blue};

} // namespace

Columns::Columns(const PictureJob& job)
{
    const std::uint32_t first = std::min(job.offsetX, job.sensorWidth);
    const std::uint32_t count = std::min(job.width, job.sensorWidth - first);
    begin = job.reverseX ? job.sensorWidth - first - count : first;
    end = begin + count;
}

void LinePainter::Set(const PictureJob& job)
{
    response_.Set(job);
    cut_.Resize(job.width);
    samples_.resize(job.width);
    if (job.noise > 0) {
        levels_.Set(job, response_);
        mixed_.resize(std::size_t{2} * kChannels * job.width);
    }
}

void LinePainter::Grey(const PictureJob& job, const LightRow& light, std::uint16_t* samples)
{
    CutGrey(job, light, samples);
    response_.Apply(kGreen, samples, job.width, samples);
}

const std::uint16_t* LinePainter::CutChannel(const PictureJob& job, const LightRow& light,
                                             Channel channel)
{
    return Cut(job, light.*kPlanes[channel], cut_.*kPlanes[channel]);
}

void LinePainter::PackMosaic(const PictureJob& job, const LightRow& light, Tiles tiles,
                             std::uint8_t* bytes)
{
    const TilePair colors = ColorsOf(tiles);
    const std::uint16_t* even = CutChannel(job, light, colors.even);
    const std::uint16_t* odd = CutChannel(job, light, colors.odd);
    for (std::size_t x = 0; x < job.width; x += 2) {
        samples_[x] = response_.Sample(colors.even, even[x]);
    }
    for (std::size_t x = 1; x < job.width; x += 2) {
        samples_[x] = response_.Sample(colors.odd, odd[x]);
    }
    PackHigh8(samples_.data(), job.width, bytes);
}

void LinePainter::PackYuv(const PictureJob& job, const LightRow& light, std::uint8_t* bytes)
{
    for (const Channel channel : {kRed, kGreen, kBlue}) {
        response_.Apply(channel, CutChannel(job, light, channel), job.width,
                        (cut_.*kPlanes[channel]).data());
    }
    PackUyvy(cut_.red.data(), cut_.green.data(), cut_.blue.data(), job.width, bytes);
}

void LinePainter::Pack(const PictureJob& job, const LightRow& light, Tiles tiles,
                       std::uint8_t* bytes)
{
    switch (job.pixelFormat) {
    case kBayerRg8:
        PackMosaic(job, light, tiles, bytes);
        return;
    case kYuv422Packed:
        PackYuv(job, light, bytes);
        return;
    case kMono12:
    case kMono12Packed:
        Grey(job, light, samples_.data());
        PackWide(samples_.data(), job.width, job.pixelFormat, bytes);
        return;
    default:
        Grey(job, light, samples_.data());
        PackHigh8(samples_.data(), job.width, bytes);
    }
}

void LinePainter::LevelChannel(Channel channel, const std::uint16_t* light, std::size_t count,
                               const NoisyLine& line) const
{
    for (std::size_t i = 0; i < count; ++i) {
        const NoisyLevel level = levels_.At(channel, light[i]);
        line.mean[i] = level.mean;
        line.deviation[i] = level.deviation;
    }
}

void LinePainter::LevelMosaic(const PictureJob& job, const LightRow& light, Tiles tiles,
                              const NoisyLine& line)
{
    const TilePair colors = ColorsOf(tiles);
    const std::uint16_t* even = CutChannel(job, light, colors.even);
    const std::uint16_t* odd = CutChannel(job, light, colors.odd);
    const auto set = [&](std::size_t x, NoisyLevel level) {
        line.mean[x] = level.mean;
        line.deviation[x] = level.deviation;
    };
    for (std::size_t x = 0; x < job.width; x += 2) {
        set(x, levels_.At(colors.even, even[x]));
    }
    for (std::size_t x = 1; x < job.width; x += 2) {
        set(x, levels_.At(colors.odd, odd[x]));
    }
}

void LinePainter::LevelYuv(const PictureJob& job, const LightRow& light, const NoisyLine& line)
{
    std::array<NoisyLine, kChannels> channels{};
    std::int16_t* room = mixed_.data();
    for (const Channel channel : {kRed, kGreen, kBlue}) {
        channels[channel] = {room, room + job.width};
        LevelChannel(channel, CutChannel(job, light, channel), job.width, channels[channel]);
        room += std::size_t{2} * job.width;
    }
    MixUyvy(channels, job.width, line);
}

void LinePainter::Level(const PictureJob& job, const LightRow& light, Tiles tiles,
                        const NoisyLine& line)
{
    switch (job.pixelFormat) {
    case kYuv422Packed:
        LevelYuv(job, light, line);
        return;
    case kBayerRg8:
        LevelMosaic(job, light, tiles, line);
        return;
    default:
        CutGrey(job, light, samples_.data());
        LevelChannel(kGreen, samples_.data(), job.width, line);
    }
}

void PackWide(const std::uint16_t* samples, std::size_t count, std::uint32_t pixelFormat,
              std::uint8_t* bytes)
{
    if (pixelFormat == kMono12Packed) {
        Pack12(samples, count, bytes);
    } else {
        Pack16(samples, count, bytes);
    }
}

} // namespace sim
