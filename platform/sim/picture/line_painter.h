/** From a row of light to a line of a picture: the region and the reversal choose what of it is
 *  read out, the response turns it into samples, the pixel format lays them out. Rows beyond the
 *  sensor and the order of lines are the caller's. */
#pragma once

#include "sim/picture/light_row.h"
#include "sim/picture/noise.h"
#include "sim/picture/response.h"

#include <array>
#include <cstdint>
#include <vector>

namespace sim
{

/** The columns of a sensor that a picture shows; the rest of its width lies beyond the edge. */
struct Columns {
    std::uint32_t begin;
    std::uint32_t end;

    explicit Columns(const PictureJob& job);
};

/** Which of the two kinds of lines of a mosaic: red first, or blue second. */
enum class Tiles : bool { Red, Blue };

/** Whether lines in this format are samples to be packed, or bytes. */
constexpr bool HasWideSamples(std::uint32_t pixelFormat)
{
    return pixelFormat == kMono12 || pixelFormat == kMono12Packed;
}

/** How many values noise acts on in a line: its samples, or the bytes of YUV. */
constexpr std::size_t ValuesOfLine(const PictureJob& job)
{
    return job.pixelFormat == kYuv422Packed ? std::size_t{2} * job.width : job.width;
}

/** For one thread; allocates only for wider lines than before, and for the first with noise. */
class LinePainter
{
public:
    /** Before lines of a job are asked for; works only on what changed. */
    void Set(const PictureJob& job);
    /** Another number whenever the same light may become another line. */
    std::uint64_t Version() const { return response_.Version() + levels_.Version(); }
    const Response& Answer() const { return response_; }

    /** Without noise: a line's bytes. */
    void Pack(const PictureJob& job, const LightRow& light, Tiles tiles, std::uint8_t* bytes);
    /** Without noise: a line's samples, of a mono format. */
    void Grey(const PictureJob& job, const LightRow& light, std::uint16_t* samples);
    /** What the noise acts on: `ValuesOfLine` levels. */
    void Level(const PictureJob& job, const LightRow& light, Tiles tiles, const NoisyLine& line);

private:
    void LevelChannel(Channel channel, const std::uint16_t* light, std::size_t count,
                      const NoisyLine& line) const;
    const std::uint16_t* CutChannel(const PictureJob& job, const LightRow& light, Channel channel);
    void PackMosaic(const PictureJob& job, const LightRow& light, Tiles tiles, std::uint8_t* bytes);
    void PackYuv(const PictureJob& job, const LightRow& light, std::uint8_t* bytes);
    void LevelMosaic(const PictureJob& job, const LightRow& light, Tiles tiles,
                     const NoisyLine& line);
    void LevelYuv(const PictureJob& job, const LightRow& light, const NoisyLine& line);

    Response response_;
    NoiseLevels levels_;
    LightRow cut_;                       ///< one line as it is read out
    std::vector<std::uint16_t> samples_; ///< and as one value per pixel
    std::vector<std::int16_t> mixed_;    ///< three channels' means and deviations
};

/** Samples of a mono format of 12 bits as bytes. */
void PackWide(const std::uint16_t* samples, std::size_t count, std::uint32_t pixelFormat,
              std::uint8_t* bytes);

} // namespace sim
