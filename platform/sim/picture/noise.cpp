#include "sim/picture/noise.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace sim
{

namespace
{

/** SplitMix64's last step: every bit of the result depends on every bit of the input. */
constexpr std::uint64_t Mixed(std::uint64_t value)
{
    value += 0x9E3779B97F4A7C15;
    value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9;
    value = (value ^ value >> 27) * 0x94D049BB133111EB;
    return value ^ value >> 31;
}

constexpr std::size_t kGrains = 1U << 16; ///< any 16 bits are an index into the table

using Table = std::array<std::int16_t, kGrains + kGrainsInPiece>;

const Table& NormalGrains()
{
    static const Table kTable = [] {
        Table grains{};
        std::uint64_t state = 0;
        const auto uniform = [&state] { // in (0, 1]
            return (static_cast<double>(Mixed(state++) >> 11) + 1) * 0x1p-53;
        };
        const auto grain = [](double deviations) {
            constexpr double kMost = 4 * kGrainUnit - 1;
            return static_cast<std::int16_t>(
                std::lrint(std::clamp(deviations * kGrainUnit, -kMost, kMost)));
        };
        constexpr double kTurn = 6.283185307179586;
        for (std::size_t i = 0; i < kGrains / 2; ++i) {
            const double radius = std::sqrt(-2 * std::log(uniform()));
            const std::int16_t value = grain(radius * std::cos(kTurn * uniform()));
            grains[i] = value;
            grains[i + kGrains / 2] = static_cast<std::int16_t>(-value); // so that the mean is 0
        }
        std::copy_n(grains.begin(), kGrainsInPiece, grains.begin() + kGrains);
        return grains;
    }();
    return kTable;
}

} // namespace

Grains::Grains(std::uint64_t seed, std::uint32_t frameNumber)
    : key_(Mixed(Mixed(seed) + frameNumber))
{
    NormalGrains(); // computed here, so that no line has to wait for it
}

Grains::Piece Grains::At(std::uint64_t row, std::size_t column) const
{
    const std::uint64_t places = Mixed(Mixed(key_ + row) + column);
    const std::int16_t* table = NormalGrains().data();
    return {table + (places >> 48), table + (places >> 32 & 0xFFFF)};
}

} // namespace sim
