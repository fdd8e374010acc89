/** A ring of measurements in storage order. */
#pragma once

#include <cstddef>
#include <cstdint>

namespace KvTd
{

constexpr std::uint32_t kProfRingSize = 20;

/** Stores a value at `position` and moves that on, round and round. */
inline void ProfRingPut(std::uint32_t (&ring)[kProfRingSize], std::uint32_t& position,
                        std::uint32_t value)
{
    ring[position] = value;
    if (++position == kProfRingSize) {
        position = 0;
    }
}

} // namespace KvTd
