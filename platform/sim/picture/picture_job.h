/** Everything that a painted picture depends on, as the sensor passes it to the scene. */
#pragma once

#include <array>
#include <cstdint>
#include <memory>

namespace sim
{

/** Light is linear; the brightest level just comes out as white at the reference exposure and
 *  gain 1. */
constexpr std::uint16_t kLightMax = 0xFFFF;
constexpr double kReferenceExposureUs = 10000;

enum Channel : unsigned { kRed, kGreen, kBlue, kChannels };
/** A further channel: a sensor without colour filters. */
constexpr unsigned kGrey = kChannels;

/** A camera's tone curves, applied after exposure, gain, white balance and noise: 12-bit sample in,
 *  12-bit sample out. Monochrome pictures use green's curve. Never changed once a job refers to it.
 */
struct ToneCurve {
    std::array<std::array<std::uint16_t, 4096>, kChannels> samples;
};

struct PictureJob {
    std::uint32_t sensorWidth = 0; ///< pixels
    std::uint32_t sensorHeight = 0;
    std::uint32_t offsetX = 0; ///< region on the sensor as it is read out, after reversal
    std::uint32_t offsetY = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t pixelFormat = 0; ///< GigE Vision code
    bool reverseX = false;         ///< the region shows the mirrored sensor
    bool reverseY = false;
    std::uint32_t frameNumber = 0; ///< shown in the picture, moves the pattern
    double exposureUs = kReferenceExposureUs;
    double gain = 1;                                   ///< linear factor
    std::array<double, kChannels> balance = {1, 1, 1}; ///< linear factors of white balance
    std::shared_ptr<const ToneCurve> tone = nullptr;   ///< null: samples stay as they are
    double noise = 0;            ///< 1: as of a good sensor; 0: none. Grows with gain and light
    std::uint64_t noiseSeed = 0; ///< the same seed gives the same noise
};

/** How bright a picture is. */
struct PictureLevels {
    double mean = 0; ///< of the finished picture's brightness (mono, or luma), 0 to 255
    /** Mean light of each channel in the region before exposure, gain and balance, 0 to 1. */
    std::array<double, kChannels> light = {0, 0, 0};
};

} // namespace sim
