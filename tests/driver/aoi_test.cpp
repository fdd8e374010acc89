#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

struct Region {
    int offsetX;
    int offsetY;
    int width;
    int height;
};

/** A 64x48 camera; the region asked of the host and the one in force, which the camera has too. */
class AoiRig : public Rig
{
public:
    explicit AoiRig(Region inForce = {0, 0, 64, 48}, const sim::CameraSetup& setup = SmallCamera())
        : Rig(setup)
    {
        Open();
        proc.widthMax = 64;
        proc.heightMax = 48;
        proc.roiOffsetX = static_cast<std::uint32_t>(inForce.offsetX);
        proc.roiOffsetY = static_cast<std::uint32_t>(inForce.offsetY);
        proc.roiWidth = static_cast<std::uint32_t>(inForce.width);
        proc.roiHeight = static_cast<std::uint32_t>(inForce.height);
        sim::SetFeatureText("S0000001", "Width", std::to_string(inForce.width));
        sim::SetFeatureText("S0000001", "Height", std::to_string(inForce.height));
        sim::SetFeatureText("S0000001", "OffsetX", std::to_string(inForce.offsetX));
        sim::SetFeatureText("S0000001", "OffsetY", std::to_string(inForce.offsetY));
    }
    int Apply(Region asked)
    {
        Ask(asked);
        return proc.ProcParametrizeCamAoi(&Cam());
    }
    void Ask(Region asked)
    {
        host.offsetX = asked.offsetX;
        host.offsetY = asked.offsetY;
        host.width = asked.width;
        host.height = asked.height;
    }
    std::vector<std::uint32_t> InForce() const
    {
        return {proc.roiOffsetX, proc.roiOffsetY, proc.roiWidth, proc.roiHeight};
    }
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
    EXPECT_THAT(rig.InForce(), ElementsAre(0, 0, 64, 48));
}

TEST(Aoi, ShrinkingWritesTheSizeFirst)
{
    AoiRig rig;
    EXPECT_EQ(rig.Apply({16, 8, 32, 32}), 0);
    EXPECT_EQ(Story(Rig::Of("cam")), R"(
Width=32
OffsetX=16
Height=32
OffsetY=8
)");
    EXPECT_THAT(rig.InForce(), ElementsAre(16, 8, 32, 32));
    EXPECT_THAT(Between(Rig::Logs(), "cur property", "### set"),
                ElementsAre("3 ProcParametrizeCamAoiItem:   cur property 2 val is 64 (min 16, max "
                            "64, inc 4)",
                            "3 ExPropertySetInt: ### set property 2 (Width) to 32 ###"));
}

TEST(Aoi, GrowingOrKeepingWritesTheOffsetFirst)
{
    AoiRig growing({16, 8, 32, 32});
    EXPECT_EQ(growing.Apply({0, 0, 64, 32}), 0);
    EXPECT_EQ(Story(Rig::Of("cam")), R"(
OffsetX=0
Width=64
OffsetY=0
Height=32
)");
}

TEST(Aoi, EachAxisDecidesForItself)
{
    AoiRig rig({16, 0, 32, 48});
    EXPECT_EQ(rig.Apply({0, 8, 64, 24}), 0);
    EXPECT_EQ(Story(Rig::Of("cam")), R"(
OffsetX=0
Width=64
Height=24
OffsetY=8
)");
}

TEST(Aoi, RegionBeyondTheSensorIsRefusedAsAWhole)
{
    AoiRig rig;
    EXPECT_EQ(rig.Apply({16, 0, 64, 48}), -1);
    EXPECT_EQ(rig.Apply({-1, 0, 64, -1}), -1);
    EXPECT_THAT(Rig::Of("cam"), IsEmpty());
    EXPECT_EQ(Rig::Logs()[1], "2 ProcParametrizeCamAoi: Acquisition set parameters are out of "
                              "bounds: horis (16 + 64 > 64) or vert (0 + 48 > 48)");
    EXPECT_EQ(Rig::Logs().back(),
              "2 ProcParametrizeCamAoi: Acquisition set parameters are out of bounds: horis "
              "(4294967295 + 64 > 64) or vert (0 + 4294967295 > 48)");
    EXPECT_THAT(rig.InForce(), ElementsAre(0, 0, 64, 48));
}

TEST(Aoi, SuccessStoresTheRequestAsGiven)
{
    AoiRig rig;
    EXPECT_EQ(rig.Apply({-1, -1, 32, 16}), 0);
    EXPECT_THAT(Rig::Of("cam"), ElementsAre("Width=32", "Height=16"));
    EXPECT_THAT(rig.InForce(), ElementsAre(0xFFFFFFFF, 0xFFFFFFFF, 32, 16));
}

TEST(Aoi, FailedItemsAreReportedAndTheCacheStays)
{
    AoiRig rig;
    EXPECT_EQ(rig.Apply({52, -1, -1, 32}), 16) << "an offset leaves 16 pixels at least";
    EXPECT_THAT(Rig::Of("cam"), ElementsAre("Height=32"));
    EXPECT_THAT(rig.InForce(), ElementsAre(0, 0, 64, 48)) << "also for the item that was set";
    EXPECT_THAT(Rig::Logs(), Contains("2 ProcParametrizeCamAoiItem:   asked property 4 val 52 is "
                                      "out of bounds [0,4.. 48], skipped"));
}

TEST(Aoi, ItemOutsideItsLimitsIsSkipped)
{
    AoiRig rig;
    const auto item = [&](int mask, int limit, int asked) {
        return rig.proc.ProcParametrizeCamAoiItem(&rig.Cam(), mask, WIDTH_PROPERTY_TYPE, 64, limit,
                                                  asked);
    };
    EXPECT_EQ(item(60 - 4, 64, 32), 0) << "not in the mask";
    EXPECT_THAT(Rig::Of({"read", "cam", "log"}), IsEmpty());
    EXPECT_EQ(item(60, 60, 64), 4) << "the limit counts, not the camera's maximum";
    EXPECT_EQ(item(60, 64, 12), 4);
    EXPECT_EQ(item(60, 64, 30), 4);
    EXPECT_THAT(Rig::Of("cam"), IsEmpty());
    EXPECT_THAT(Rig::Logs("ProcParametrizeCamAoiItem"),
                Contains("2 ProcParametrizeCamAoiItem:   asked property 2 val 30 is out of bounds "
                         "[16,20.. 64], skipped"));
    EXPECT_EQ(item(4, 64, 32), 0);
    EXPECT_THAT(Rig::Of("cam"), ElementsAre("Width=32"));
}

TEST(Aoi, ItemThatTheCameraLacksHasNoRangeAndCannotBeSet)
{
    sim::CameraSetup setup = SmallCamera();
    setup.missing = {"Width"};
    AoiRig rig({0, 0, 64, 48}, setup);
    EXPECT_EQ(rig.proc.ProcParametrizeCamAoiItem(&rig.Cam(), 4, WIDTH_PROPERTY_TYPE, 64, 64, 7), 4);
    EXPECT_THAT(Rig::Logs(),
                ElementsAre("3 ProcParametrizeCamAoiItem:   cur property 2 val is 64 (min 0, max "
                            "64, inc 0)",
                            "2 ProcParametrizeCamAoiItem:   the device can't set property 2 to 7"));
}

TEST(Aoi, CheckStopsAtTheFirstDifference)
{
    struct Case {
        Region asked;
        int result;
        std::size_t getters;
    };
    for (const Case& c : {Case{{-1, -1, -1, -1}, 0, 4},
                          {{16, 8, 32, 32}, 0, 4},
                          {{0, 9, 33, 33}, 1, 1},
                          {{16, 0, 33, 33}, 2, 2},
                          {{-1, -1, 36, 33}, 3, 3},
                          {{16, 8, 32, 31}, 4, 4},
                          {{-2, 8, 32, 32}, 1, 1}}) {
        AoiRig rig({16, 8, 32, 32});
        rig.Ask(c.asked);
        EXPECT_EQ(rig.proc.ProcCheckCfgCamAoi(), c.result);
        const Texts order = {"KvGiMainCtx__GetOffsetX()", "KvGiMainCtx__GetOffsetY()",
                             "KvGiMainCtx__GetWidth()", "KvGiMainCtx__GetHeight()"};
        EXPECT_EQ(Rig::Of("host"),
                  Texts(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(c.getters)));
    }
}

TEST(Aoi, StoredMinusOneDiffersFromAnyOffset)
{
    AoiRig rig;
    rig.Apply({-1, -1, 32, 16});
    rig.Ask({0, -1, 32, 16});
    EXPECT_EQ(rig.proc.ProcCheckCfgCamAoi(), 1) << "though the camera stands at 0";
}
