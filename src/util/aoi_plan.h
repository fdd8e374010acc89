/** Decisions about the region of interest. */
#pragma once

#include <cstdint>

namespace KvTd
{

/** The host's region as given: pixels, -1 where not configured. */
struct AoiRequest {
    std::int32_t offsetX;
    std::int32_t offsetY;
    std::int32_t width;
    std::int32_t height;
};

/** Does the region fit the sensor? Wraps at 32 bits, and -1 counts as 4294967295: so an unset
 *  offset passes with any size that fits, an unset size only with an offset of at least 1. */
bool AoiFits(const AoiRequest& asked, std::uint32_t widthMax, std::uint32_t heightMax);

/** A shrinking region is written size first, any other offset first, so that it never leaves the
 *  sensor on the way. */
constexpr bool AoiSizeFirst(std::int32_t askedSize, std::uint32_t currentSize)
{
    return static_cast<std::uint32_t>(askedSize) < currentSize;
}

/** Is the value within [min, limit] and itself a multiple of the increment? */
bool AoiItemAccepted(std::int32_t asked, std::int32_t min, std::int32_t limit,
                     std::int32_t increment);

} // namespace KvTd
