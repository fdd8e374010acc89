/** Region of interest: moves it to where the host wants it, horizontally first. */
#include "kv_host_services.h"
#include "kv_td_excam.h"
#include "kv_td_log.h"
#include "kv_td_proc.h"
#include "util/aoi_plan.h"

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_proc";

static constexpr int kWidthBit = 1 << WIDTH_PROPERTY_TYPE;
static constexpr int kHeightBit = 1 << HEIGHT_PROPERTY_TYPE;
static constexpr int kOffsetXBit = 1 << OFFSET_X_PROPERTY_TYPE;
static constexpr int kOffsetYBit = 1 << OFFSET_Y_PROPERTY_TYPE;
static constexpr int kAllItems = kWidthBit | kHeightBit | kOffsetXBit | kOffsetYBit;
static constexpr int kSmallestSize = 16; ///< pixels that an offset leaves at least

static AoiRequest ReadRequest()
{
    AoiRequest asked{};
    asked.offsetX = KvGiMainCtx__GetOffsetX();
    asked.offsetY = KvGiMainCtx__GetOffsetY();
    asked.width = KvGiMainCtx__GetWidth();
    asked.height = KvGiMainCtx__GetHeight();
    return asked;
}

int CCamProc::ProcParametrizeCamAoi(CExCam* cam)
{
    const AoiRequest asked = ReadRequest();
    KV_LOG(3, "Acquisition set handler entry: OffsX %i OffsY %i Width %i Height %i", asked.offsetX,
           asked.offsetY, asked.width, asked.height);
    int mask = kAllItems;
    if (asked.offsetX == kIntUnset) {
        mask &= ~kOffsetXBit;
        KV_LOG(3, "  OffsetX config is skipped");
    }
    if (asked.offsetY == kIntUnset) {
        mask &= ~kOffsetYBit;
        KV_LOG(3, "  OffsetY config is skipped");
    }
    if (asked.width == kIntUnset) {
        mask &= ~kWidthBit;
        KV_LOG(3, "  Width config is skipped");
    }
    if (asked.height == kIntUnset) {
        mask &= ~kHeightBit;
        KV_LOG(3, "  Height config is skipped");
    }
    if (mask == 0) {
        return 0;
    }
    if (!AoiFits(asked, widthMax, heightMax)) {
        KV_LOG(2,
               "Acquisition set parameters are out of bounds: horis (%u + %u > %u) or vert (%u + "
               "%u > %u)",
               static_cast<unsigned>(asked.offsetX), static_cast<unsigned>(asked.width), widthMax,
               static_cast<unsigned>(asked.offsetY), static_cast<unsigned>(asked.height),
               heightMax);
        return -1;
    }

    int failed = setAoiAxis(cam, mask,
                            {WIDTH_PROPERTY_TYPE, OFFSET_X_PROPERTY_TYPE, asked.width,
                             asked.offsetX, roiWidth, roiOffsetX, widthMax});
    failed |= setAoiAxis(cam, mask,
                         {HEIGHT_PROPERTY_TYPE, OFFSET_Y_PROPERTY_TYPE, asked.height, asked.offsetY,
                          roiHeight, roiOffsetY, heightMax});
    if (failed == 0) {
        // Deliberate: as given, an unset item's -1 too.
        // Aoi.ShrinkingAxisStartsWithItsSizeAndSuccessAloneIsStored
        roiOffsetX = static_cast<std::uint32_t>(asked.offsetX);
        roiOffsetY = static_cast<std::uint32_t>(asked.offsetY);
        roiWidth = static_cast<std::uint32_t>(asked.width);
        roiHeight = static_cast<std::uint32_t>(asked.height);
    }
    return failed;
}

/** Sets size and offset of one axis in an order in which the region never leaves the sensor.
 *  Returns the mask of the items that failed. */
int CCamProc::setAoiAxis(CExCam* cam, int mask, const AoiAxis& axis)
{
    const auto limit = static_cast<int>(axis.sizeMax);
    const auto setSize = [&] {
        return ProcParametrizeCamAoiItem(cam, mask, axis.sizeItem,
                                         static_cast<int>(axis.currentSize), limit, axis.size);
    };
    const auto setOffset = [&] {
        return ProcParametrizeCamAoiItem(cam, mask, axis.offsetItem,
                                         static_cast<int>(axis.currentOffset),
                                         limit - kSmallestSize, axis.offset);
    };
    // An item outside the mask does nothing, so the order matters only when both are set.
    if (AoiSizeFirst(axis.size, axis.currentSize)) {
        const int failed = setSize();
        return failed | setOffset();
    }
    const int failed = setOffset();
    return failed | setSize();
}

int CCamProc::ProcParametrizeCamAoiItem(CExCam* cam, int mask, PropertyType item, int current,
                                        int limit, int asked)
{
    const int bit = 1 << item;
    if ((mask & bit) == 0) {
        return 0;
    }
    int min = 0;
    int inc = 0;
    cam->ExPropertyGetIntRange(item, &min, nullptr, &inc);
    KV_LOG(3, "  cur property %i val is %i (min %i, max %i, inc %i)", item, current, min, limit,
           inc);
    if (!AoiItemAccepted(asked, min, limit, inc)) {
        const auto nextToMin =
            static_cast<int>(static_cast<unsigned>(min) + static_cast<unsigned>(inc));
        KV_LOG(2, "  asked property %i val %i is out of bounds [%i,%i.. %i], skipped", item, asked,
               min, nextToMin, limit);
        return bit;
    }
    if (cam->ExPropertySetInt(item, asked) != 0) {
        KV_LOG(2, "  the device can't set property %i to %i", item, asked);
        return bit;
    }
    return 0;
}

int CCamProc::ProcCheckCfgCamAoi()
{
    // Asked one after the other: the first difference decides, and the rest is not asked for.
    const auto differs = [](int asked, std::uint32_t inForce) {
        return asked != kIntUnset && static_cast<std::uint32_t>(asked) != inForce;
    };
    if (differs(KvGiMainCtx__GetOffsetX(), roiOffsetX)) {
        return 1;
    }
    if (differs(KvGiMainCtx__GetOffsetY(), roiOffsetY)) {
        return 2;
    }
    if (differs(KvGiMainCtx__GetWidth(), roiWidth)) {
        return 3;
    }
    return differs(KvGiMainCtx__GetHeight(), roiHeight) ? 4 : 0;
}

} // namespace KvTd
