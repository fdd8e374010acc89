#include "tests/driver/transcript.h"
#include "tests/driver/words.h"
#include "tests/support/rig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

using namespace KvTd;
using namespace rig;

namespace
{

using Region = std::tuple<int, int, int, int>; // offset X, offset Y, width, height

constexpr Region kAll = {0, 0, 64, 48};
constexpr Region kSmall = {16, 8, 32, 32};

std::string TextOf(const Region& region)
{
    return std::apply([](auto... item) { return Words(item...); }, region);
}

/** A 64x48 camera; the region asked of the host and the one in force. */
class AoiRig : public Rig
{
public:
    explicit AoiRig(Region region = kAll, const sim::CameraSetup& setup = SmallCamera())
        : Rig(setup)
    {
        Open();
        proc.widthMax = 64;
        proc.heightMax = 48;
        std::tie(proc.roiOffsetX, proc.roiOffsetY, proc.roiWidth, proc.roiHeight) = region;
        const auto& [offsetX, offsetY, width, height] = region;
        SetFeature("Width", Words(width).c_str()); // makes room for the offset
        SetFeature("Height", Words(height).c_str());
        SetFeature("OffsetX", Words(std::max(offsetX, 0)).c_str());
        SetFeature("OffsetY", Words(std::max(offsetY, 0)).c_str());
    }
    void Ask(Region asked)
    {
        std::tie(host.offsetX, host.offsetY, host.width, host.height) = asked;
    }
    std::string InForce() const
    {
        return Words(proc.roiOffsetX, proc.roiOffsetY, proc.roiWidth, proc.roiHeight);
    }
};

} // namespace

TEST(Aoi, ShrinkingAxisStartsWithItsSizeAndSuccessAloneIsStored)
{
    Transcript story("aoi_requests", {"log", "cam"});
    for (const auto& [inForce, asked] : std::initializer_list<std::pair<Region, Region>>{
             {kAll, {-1, -1, -1, -1}},
             {kAll, kSmall},
             {kSmall, {0, 0, 64, 32}},
             {{16, 0, 32, 48}, {0, 8, 64, 24}}, // each axis decides for itself
             {kAll, {-1, -1, 32, 16}},          // stored as given
             {kAll, {16, 0, 64, 48}},
             {kAll, {-1, 0, 64, -1}},
             {kAll, {52, -1, -1, 32}}, // an offset leaves 16 pixels at least
         }) {
        AoiRig rig(inForce);
        story.state = [&] { return rig.InForce(); };
        rig.Ask(asked);
        story.Call(TextOf(asked), [&] { return rig.proc.ProcParametrizeCamAoi(&rig.Cam()); });
    }
}

TEST(Aoi, ItemIsSetWithinItsMaskLimitsAndIncrement)
{
    Transcript story("aoi_items", {"read", "log", "cam"});
    const auto item = [&](Rig& rig, int mask, int limit, int asked) {
        story.Call(Words("mask", mask, "limit", limit, "asked", asked), [&] {
            return rig.proc.ProcParametrizeCamAoiItem(&rig.Cam(), mask, WIDTH_PROPERTY_TYPE, 64,
                                                      limit, asked);
        });
    };
    AoiRig rig;
    item(rig, 60 - 4, 64, 32);
    item(rig, 60, 60, 64); // the limit counts, not the camera's maximum
    item(rig, 60, 64, 12);
    item(rig, 60, 64, 30);
    item(rig, 4, 64, 32);
    AoiRig lacking(kAll, Lacking({"Width"}));
    item(lacking, 4, 64, 7);
}

TEST(Aoi, CheckStopsAtTheFirstDifference)
{
    Transcript story("aoi_checks", {"host"});
    for (const auto& [inForce, asked] : std::initializer_list<std::pair<Region, Region>>{
             {kSmall, {-1, -1, -1, -1}},
             {kSmall, kSmall},
             {kSmall, {0, 9, 33, 33}},
             {kSmall, {16, 0, 33, 33}},
             {kSmall, {-1, -1, 36, 33}},
             {kSmall, {16, 8, 32, 31}},
             {kSmall, {-2, 8, 32, 32}},
             {{-1, -1, 32, 16}, {0, -1, 32, 16}}, // though the camera stands at 0
         }) {
        AoiRig rig(inForce);
        rig.Ask(asked);
        story.state = [&] { return rig.InForce(); };
        story.Call(TextOf(asked), [&] { return rig.proc.ProcCheckCfgCamAoi(); });
    }
}
