/** Conversion of look-up tables into the camera's 256 entries. */
#include "util/lut_table.h"

namespace KvTd
{

namespace
{

constexpr int kShift = kDynamicLutBits - kDeviceLutBits;
constexpr std::uint32_t kHalf = 1U << (kShift - 1);

constexpr std::uint32_t Rounded(std::uint32_t value)
{
    return (value + kHalf) >> kShift;
}

/** To the right by `shift`, to the left by -`shift`; 0 where no bit is left. */
constexpr std::uint32_t Shifted(std::uint32_t value, int shift)
{
    if (shift >= 32 || shift <= -32) {
        return 0;
    }
    return shift > 0 ? value >> shift : value << -shift;
}

} // namespace

bool ConvertConfiguredLut(std::span<const std::uint16_t> source, int sourceBits, DeviceLut& table)
{
    const std::size_t step = source.size() / kDeviceLutEntries;
    if (step == 0) {
        return false;
    }
    for (std::size_t i = 0; i < kDeviceLutEntries; ++i) {
        table[i] = Shifted(source[i * step], sourceBits - kDeviceLutBits);
    }
    return true;
}

bool ConvertDynamicLut(std::span<const std::uint16_t> source, bool full, DeviceLut& table)
{
    if (full && source.size() >= kDynamicLutFull) {
        constexpr std::size_t kStep = kDynamicLutFull / kDeviceLutEntries;
        for (std::size_t i = 0; i < kDeviceLutEntries; ++i) {
            table[i] = Rounded(source[i * kStep]);
        }
        return true;
    }
    if (source.size() < kDynamicLutKnots) {
        return false;
    }
    for (std::size_t k = 0; k < kDynamicLutKnots; ++k) {
        const std::uint32_t knot = source[k];
        const bool last = k + 1 == kDynamicLutKnots;
        const std::uint32_t next = last ? knot : source[k + 1];
        table[2 * k] = Rounded(knot);
        table[2 * k + 1] = Rounded((knot + next) >> 1);
    }
    return true;
}

} // namespace KvTd
