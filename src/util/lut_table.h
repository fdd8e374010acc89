/** From a host's look-up table to the camera's: 256 entries of 8 bits, whatever came. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace KvTd
{

constexpr std::size_t kDeviceLutEntries = 256;
constexpr int kDeviceLutBits = 8;
constexpr int kDynamicLutBits = 12; ///< of the values of a dynamic table
/** A dynamic table is a value for each of 2^12 inputs, or this many knots over the input range. */
constexpr std::size_t kDynamicLutKnots = 128;
constexpr std::size_t kDynamicLutFull = 4096;

using DeviceLut = std::array<std::uint32_t, kDeviceLutEntries>;

/** A configured table: every n/256-th of its n entries, shifted from `sourceBits` to the device's
 *  without rounding. False, and nothing done, below 256 entries. */
bool ConvertConfiguredLut(std::span<const std::uint16_t> source, int sourceBits, DeviceLut& table);

/** A dynamic table, rounded from 12 bits. `full`: every 16th of its 4096 entries; else, and
 *  whenever it has fewer, its first 128 entries doubled by interpolation. False, and nothing done,
 *  below 128 entries. Not clamped: values above 4087 give 256. */
bool ConvertDynamicLut(std::span<const std::uint16_t> source, bool full, DeviceLut& table);

} // namespace KvTd
