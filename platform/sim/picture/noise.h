/** The noise of a sensor: how strong it is at which light, and its grains.
 *
 *  A sample's noise is that of reading it out, which gain amplifies, and that of the light's own
 *  quanta, which grows with the root of both. It acts ahead of the clip and of the tone curve. For
 *  the price's sake its effect behind both is worked out once per level of light, as a mean and a
 *  deviation, and a line's grains are drawn from one large table at places that seed, frame number
 *  and row give. Pure; never allocates. */
#pragma once

#include "sim/picture/response.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace sim
{

/** What a value of a line will be on average, and how far it strays. */
struct NoisyLevel {
    std::int16_t mean = 0;      ///< in 1/64 of the 8-bit range's steps
    std::int16_t deviation = 0; ///< standard deviation in 1/512 of them
};
constexpr int kMeanShift = 6; ///< from a mean to 8 bits
constexpr int kDeviationUnit = 512;
constexpr std::size_t kLineAlign = 16;

/** The same of a whole line. Where noise is drawn both begin at a multiple of `kLineAlign` bytes.
 */
struct NoisyLine {
    std::int16_t* mean;
    std::int16_t* deviation;
};

/** The noise by channel and level of light. */
class NoiseLevels
{
public:
    /** `response` is set for the same job. Works only on what changed. */
    void Set(const PictureJob& job, const Response& response);
    /** Another number whenever a level is another one. */
    std::uint64_t Version() const { return version_; }
    NoisyLevel At(Channel channel, std::uint16_t light) const
    {
        return levels_[channel][light & kLightMax];
    }

private:
    void Rebuild(Channel channel, double gain, const Response& response);

    std::uint64_t version_ = 0;
    std::uint64_t responseVersion_ = 0;
    bool color_ = false;
    double noise_ = 0;
    double gain_ = 0;
    std::array<double, kChannels> balance_{};
    std::array<std::array<NoisyLevel, kLightMax + 1>, kChannels> levels_{};
};

/** The grains of one picture. */
class NoiseField
{
public:
    void Set(std::uint64_t seed, std::uint32_t frameNumber);
    /** Line `y` of the picture in 8 bits, clipped at black and white. */
    void Apply(std::uint32_t y, const NoisyLine& line, std::size_t count,
               std::uint8_t* bytes) const;
    /** The same in 12 bits. */
    void Apply(std::uint32_t y, const NoisyLine& line, std::size_t count,
               std::uint16_t* samples) const;

private:
    template <typename Value, typename BlendPiece>
    void Draw(std::uint32_t y, const NoisyLine& line, std::size_t count, Value* values,
              BlendPiece blend) const;

    std::uint64_t key_ = 0;
};

} // namespace sim
