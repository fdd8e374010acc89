/** Checks of the region of interest: does it fit the sensor, is an item's value acceptable. */
#include "util/aoi_plan.h"

namespace KvTd
{

bool AoiFits(const AoiRequest& asked, std::uint32_t widthMax, std::uint32_t heightMax)
{
    // Deliberate: the sums wrap. Aoi.FitCheckWrapsSoThatAnUnsetSizeNeedsAnOffset
    const std::uint32_t right =
        static_cast<std::uint32_t>(asked.offsetX) + static_cast<std::uint32_t>(asked.width);
    const std::uint32_t bottom =
        static_cast<std::uint32_t>(asked.offsetY) + static_cast<std::uint32_t>(asked.height);
    return right <= widthMax && bottom <= heightMax;
}

bool AoiItemAccepted(std::int32_t asked, std::int32_t min, std::int32_t limit,
                     std::int32_t increment)
{
    if (asked < min || asked > limit) {
        return false;
    }
    // Deliberate: the value itself, not its distance from min. Aoi.IncrementCountsFromZero
    return increment == 0 || std::int64_t{asked} % increment == 0;
}

} // namespace KvTd
