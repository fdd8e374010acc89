#include "tests/driver/told.h"
#include "tests/support/rig.h"

#include <gtest/gtest.h>

#include <array>
#include <tuple>

using namespace KvTd;
using namespace rig;

namespace
{

using Region = std::array<int, 4>; // offset X, offset Y, width, height

constexpr Region kAll = {0, 0, 64, 48};
constexpr Region kSmall = {16, 8, 32, 32};

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
        constexpr const char* kNames[] = {"OffsetX", "OffsetY", "Width", "Height"};
        for (const std::size_t i : {2U, 3U, 0U, 1U}) { // the sizes make room for the offsets
            *inForce[i] = static_cast<std::uint32_t>(region[i]);
            if (region[i] >= 0) {
                SetFeature(kNames[i], std::to_string(region[i]).c_str());
            }
        }
    }
    int Apply(Region asked)
    {
        Ask(asked);
        return proc.ProcParametrizeCamAoi(&Cam());
    }
    void Ask(Region asked)
    {
        std::tie(host.offsetX, host.offsetY, host.width, host.height) =
            std::tuple(asked[0], asked[1], asked[2], asked[3]);
    }
    void ExpectInForce(Region region) const
    {
        for (std::size_t i = 0; i < region.size(); ++i) {
            EXPECT_EQ(*inForce[i], static_cast<std::uint32_t>(region[i])) << i;
        }
    }

private:
    std::array<std::uint32_t*, 4> inForce = {&proc.roiOffsetX, &proc.roiOffsetY, &proc.roiWidth,
                                             &proc.roiHeight};
};

} // namespace

TEST(Aoi, UnsetRegionTouchesNothing)
{
    AoiRig rig;
    EXPECT_EQ(rig.Apply({-1, -1, -1, -1}), 0);
    EXPECT_EQ(Story(Rig::Of({"host", "cam", "read", "log"})), R"(
host KvGiMainCtx__GetOffsetX()
host KvGiMainCtx__GetOffsetY()
host KvGiMainCtx__GetWidth()
host KvGiMainCtx__GetHeight()
log3 kv_td_proc:ProcParametrizeCamAoi: Acquisition set handler entry: OffsX -1 OffsY -1 Width -1 Height -1
log3 kv_td_proc:ProcParametrizeCamAoi:   OffsetX config is skipped
log3 kv_td_proc:ProcParametrizeCamAoi:   OffsetY config is skipped
log3 kv_td_proc:ProcParametrizeCamAoi:   Width config is skipped
log3 kv_td_proc:ProcParametrizeCamAoi:   Height config is skipped
)");
    rig.ExpectInForce(kAll);
}

TEST(Aoi, ShrinkingAxisStartsWithItsSizeAndSuccessAloneIsStored)
{
    struct Case {
        Region inForce;
        Region asked;
        int rc;
        std::string writes;
    };
    Texts warnings;
    for (const Case& c : std::initializer_list<Case>{
             {kAll, kSmall, 0, "Width=32 OffsetX=16 Height=32 OffsetY=8 "},
             {kSmall, {0, 0, 64, 32}, 0, "OffsetX=0 Width=64 OffsetY=0 Height=32 "},
             {{16, 0, 32, 48}, {0, 8, 64, 24}, 0, "OffsetX=0 Width=64 Height=24 OffsetY=8 "},
             {kAll, {-1, -1, 32, 16}, 0, "Width=32 Height=16 "},
             {kAll, {16, 0, 64, 48}, -1, ""},
             {kAll, {-1, 0, 64, -1}, -1, ""},
             {kAll, {52, -1, -1, 32}, 16, "Height=32 "}, // an offset leaves 16 pixels at least
         }) {
        AoiRig rig(c.inForce);
        EXPECT_EQ(rig.Apply(c.asked), c.rc);
        for (const std::string& warning : Rig::Of("log2")) {
            warnings.push_back(warning);
        }
        EXPECT_EQ(Take("cam"), c.writes);
        rig.ExpectInForce(c.rc == 0 ? c.asked : c.inForce);
    }
    EXPECT_EQ(Story(warnings), R"(
kv_td_proc:ProcParametrizeCamAoi: Acquisition set parameters are out of bounds: horis (16 + 64 > 64) or vert (0 + 48 > 48)
kv_td_proc:ProcParametrizeCamAoi: Acquisition set parameters are out of bounds: horis (4294967295 + 64 > 64) or vert (0 + 4294967295 > 48)
kv_td_proc:ProcParametrizeCamAoiItem:   asked property 4 val 52 is out of bounds [0,4.. 48], skipped
)");
}

TEST(Aoi, ItemIsSetWithinItsMaskLimitsAndIncrement)
{
    const auto item = [](Rig& rig, int mask, int limit, int asked) {
        Rig::Clear();
        return rig.proc.ProcParametrizeCamAoiItem(&rig.Cam(), mask, WIDTH_PROPERTY_TYPE, 64, limit,
                                                  asked);
    };
    AoiRig rig;
    EXPECT_EQ(item(rig, 60 - 4, 64, 32), 0) << "not in the mask";
    EXPECT_EQ(Story(Rig::Of({"read", "cam", "log"})), "\n");
    EXPECT_EQ(item(rig, 60, 60, 64), 4) << "the limit counts, not the camera's maximum";
    EXPECT_EQ(item(rig, 60, 64, 12), 4);
    EXPECT_EQ(item(rig, 60, 64, 30), 4);
    EXPECT_EQ(Story(Rig::Of({"cam", "log"})), R"(
log3 kv_td_proc:ProcParametrizeCamAoiItem:   cur property 2 val is 64 (min 16, max 64, inc 4)
log2 kv_td_proc:ProcParametrizeCamAoiItem:   asked property 2 val 30 is out of bounds [16,20.. 64], skipped
)");
    EXPECT_EQ(item(rig, 4, 64, 32), 0);
    EXPECT_EQ(Take("cam"), "Width=32 ");
    AoiRig lacking(kAll, Lacking({"Width"}));
    EXPECT_EQ(item(lacking, 4, 64, 7), 4) << "without a range, but it can't be set";
    EXPECT_EQ(Story(Rig::Of({"cam", "log"})), R"(
log3 kv_td_proc:ProcParametrizeCamAoiItem:   cur property 2 val is 64 (min 0, max 64, inc 0)
log2 kv_td_proc:ProcParametrizeCamAoiItem:   the device can't set property 2 to 7
)");
}

TEST(Aoi, CheckStopsAtTheFirstDifference)
{
    struct Case {
        Region inForce;
        Region asked;
        int result;
        std::size_t getters;
    };
    for (const Case& c : {Case{kSmall, {-1, -1, -1, -1}, 0, 4}, Case{kSmall, kSmall, 0, 4},
                          Case{kSmall, {0, 9, 33, 33}, 1, 1}, Case{kSmall, {16, 0, 33, 33}, 2, 2},
                          Case{kSmall, {-1, -1, 36, 33}, 3, 3}, Case{kSmall, {16, 8, 32, 31}, 4, 4},
                          Case{kSmall, {-2, 8, 32, 32}, 1, 1}, // a stored -1 differs from 0
                          Case{{-1, -1, 32, 16}, {0, -1, 32, 16}, 1, 1}}) {
        AoiRig rig(c.inForce);
        rig.Ask(c.asked);
        EXPECT_EQ(rig.proc.ProcCheckCfgCamAoi(), c.result);
        Texts order = {"KvGiMainCtx__GetOffsetX()", "KvGiMainCtx__GetOffsetY()",
                       "KvGiMainCtx__GetWidth()", "KvGiMainCtx__GetHeight()"};
        order.resize(c.getters);
        EXPECT_EQ(Rig::Of("host"), order);
    }
}
