/** The sensor's answer to light: from a level of light to a sample, per channel.
 *
 *  A sample is the light times exposure, gain and white balance, clipped at white, and then what
 *  the camera's tone curve makes of it. One table per channel, so that all of it costs one look-up
 *  per pixel. Rebuilt only when a parameter changed; never allocates. */
#pragma once

#include "sim/picture/picture_job.h"
#include "sim/picture/pixel_packing.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace sim
{

class Response
{
public:
    Response();
    /** Takes exposure, gain, white balance and tone. A product that is no positive number gives a
     *  black channel. A mono format looks at green only, and without white balance: its sensor has
     *  no filters. Then the tables of red and blue are left as they are. */
    void Set(const PictureJob& job);
    /** Another number whenever a table is another one. */
    std::uint64_t Version() const { return version_; }
    /** What light is multiplied with to become a sample, gain and balance included. */
    double Factor(Channel channel) const { return factors_[channel]; }
    bool HasTone() const { return tone_ != nullptr; }
    /** The tone curve alone. */
    std::uint16_t Tone(Channel channel, std::uint16_t sample) const
    {
        return tone_ == nullptr ? sample : ClippedSample(tone_->samples[channel][sample]);
    }
    std::uint16_t Sample(Channel channel, std::uint16_t light) const
    {
        return tables_[channel][light & kLightMax];
    }
    /** `light` and `samples` hold `count` values and may be the same array. */
    void Apply(Channel channel, const std::uint16_t* light, std::size_t count,
               std::uint16_t* samples) const;

private:
    static std::uint16_t ClippedSample(std::uint32_t sample)
    {
        return static_cast<std::uint16_t>(sample < kSampleMax ? sample : kSampleMax);
    }
    void Rebuild(Channel channel);

    std::array<double, kChannels> factors_{};
    std::shared_ptr<const ToneCurve> tone_; ///< held, so that no other one gets its address
    std::array<std::shared_ptr<const ToneCurve>, kChannels> built_; ///< and those in the tables
    std::uint64_t version_ = 0;
    std::array<std::array<std::uint16_t, kLightMax + 1>, kChannels> tables_{};
};

} // namespace sim
