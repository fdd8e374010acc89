/** Numbers as they lie in registers. */
#pragma once

#include <cstdint>
#include <span>

namespace kvcam
{

/** At most 8 bytes; the lowest ones of the number. */
inline void PutBigEndian(std::uint64_t number, std::span<std::uint8_t> bytes)
{
    for (std::size_t i = bytes.size(); i > 0; --i) {
        bytes[i - 1] = static_cast<std::uint8_t>(number);
        number >>= 8;
    }
}

inline std::uint64_t TakeBigEndian(std::span<const std::uint8_t> bytes)
{
    std::uint64_t number = 0;
    for (const std::uint8_t byte : bytes) {
        number = number << 8 | byte;
    }
    return number;
}

} // namespace kvcam
