#include "util/aoi_plan.h"

#include <gtest/gtest.h>

namespace KvTd
{

TEST(Aoi, FitCheckWrapsSoThatAnUnsetSizeNeedsAnOffset)
{
    EXPECT_TRUE(AoiFits({0, 0, 1920, 1080}, 1920, 1080));
    EXPECT_TRUE(AoiFits({16, 0, 1904, 1080}, 1920, 1080));
    EXPECT_FALSE(AoiFits({16, 0, 1920, 1080}, 1920, 1080));
    EXPECT_FALSE(AoiFits({0, 2, 1920, 1080}, 1920, 1080));
    EXPECT_TRUE(AoiFits({-1, -1, 1920, 1080}, 1920, 1080)) << "one pixel less than the size";
    EXPECT_FALSE(AoiFits({0, 0, -1, 1080}, 1920, 1080));
    EXPECT_TRUE(AoiFits({1, 0, -1, 1080}, 1920, 1080));
    EXPECT_FALSE(AoiFits({0, 0, 1920, -1}, 1920, 1080));
    EXPECT_TRUE(AoiFits({0, 1, 1920, -1}, 1920, 1080));
    EXPECT_FALSE(AoiFits({-1, 0, -1, 1080}, 1920, 1080)) << "wraps to 4294967294";
}

TEST(AoiPlan, OnlyAShrinkingSizeGoesFirst)
{
    EXPECT_TRUE(AoiSizeFirst(640, 1920));
    EXPECT_FALSE(AoiSizeFirst(1920, 1920));
    EXPECT_FALSE(AoiSizeFirst(1920, 640));
    EXPECT_FALSE(AoiSizeFirst(-1, 1920)) << "counts as the largest";
}

TEST(Aoi, IncrementCountsFromZero)
{
    EXPECT_FALSE(AoiItemAccepted(6, 2, 1920, 4)) << "though it is one step above the minimum";
    EXPECT_TRUE(AoiItemAccepted(8, 2, 1920, 4));
    EXPECT_TRUE(AoiItemAccepted(17, 16, 1920, 0)) << "no increment, no steps";
    EXPECT_TRUE(AoiItemAccepted(1904, 0, 1904, 1));
    EXPECT_FALSE(AoiItemAccepted(1905, 0, 1904, 1));
    EXPECT_TRUE(AoiItemAccepted(16, 16, 1920, 4));
    EXPECT_FALSE(AoiItemAccepted(12, 16, 1920, 4));
    EXPECT_TRUE(AoiItemAccepted(-2147483647 - 1, -2147483647 - 1, 0, -1));
}

} // namespace KvTd
