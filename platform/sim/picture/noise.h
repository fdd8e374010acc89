/** A picture's noise: normally distributed numbers ("grains"), taken from one large table at places
 *  that depend on seed, frame number and row. Pure; never allocates. */
#pragma once

#include <cstddef>
#include <cstdint>

namespace sim
{

constexpr std::size_t kGrainsInPiece = 512;
constexpr int kGrainUnit = 8192; ///< one standard deviation; four of them just fit 16 bits

class Grains
{
public:
    Grains(std::uint64_t seed, std::uint32_t frameNumber);

    /** Two independent grains for each of `kGrainsInPiece` pixels. */
    struct Piece {
        const std::int16_t* first;
        const std::int16_t* second;
    };
    Piece At(std::uint64_t row, std::size_t column) const;

private:
    std::uint64_t key_;
};

} // namespace sim
