#include "util/units.h"

#include <gtest/gtest.h>

namespace KvTd
{

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(Units, FloatingValuesBecomeIntegersOfADefinedValue)
{
    constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
    EXPECT_EQ(ToInt32(-3.99), -3);
    EXPECT_EQ(ToInt32(2147483647.9), 2147483647);
    EXPECT_EQ(ToInt32(-2147483648.9), lowest);
    for (const double value : {2147483648.0, -2147483649.0, 1e300, kNan, kInfinity, -kInfinity}) {
        EXPECT_EQ(ToInt32(value), lowest) << value;
    }
    EXPECT_EQ(ToUint32(4294967295.9), 4294967295U);
    EXPECT_EQ(ToUint64(9223372036854775808.0), 0x8000000000000000U) << "2^63 is nothing special";
    EXPECT_EQ(ToUint64(18446744073709549568.0), 0xFFFFFFFFFFFFF800U);
    for (const double value : {-0.5, -1.0, -7.0, 18446744073709551616.0, kNan, kInfinity}) {
        EXPECT_EQ(ToUint32(value), 0U) << value;
        EXPECT_EQ(ToUint64(value), 0U) << value;
    }
    EXPECT_EQ(ToUint32(4294967296.0), 0U);
}

TEST(Units, PeriodIsRoundedToNearest)
{
    EXPECT_EQ(PeriodUsOfRate(25), 40'000U);
    EXPECT_EQ(PeriodUsOfRate(30), 33'333U);
    EXPECT_EQ(PeriodUsOfRate(60), 16'667U);
    EXPECT_EQ(PeriodUsOfRate(1.0F / 1024), 1'024'000'000U);
    for (const float rate : {0.0F, -5.0F, 1e-5F, std::numeric_limits<float>::quiet_NaN()}) {
        EXPECT_EQ(PeriodUsOfRate(rate), 0U) << rate;
    }
}

TEST(Units, GrabStateIsReportedAtLeastOnceAFrame)
{
    EXPECT_EQ(GrabStateDivider(10), 6U);
    EXPECT_EQ(GrabStateDivider(30), 18U);
    EXPECT_EQ(GrabStateDivider(1), 1U);
    for (const float rate : {1.5F, 0.0F, -4.0F, 1e20F, std::numeric_limits<float>::quiet_NaN()}) {
        EXPECT_EQ(GrabStateDivider(rate), 1U) << rate; // 1.5 truncates to 0, which is no divider
    }
}

TEST(Units, LinesAreRoundedUpToBytes)
{
    EXPECT_EQ(StrideBytes(12, 1001), 1502U);
    EXPECT_EQ(StrideBytes(16, 1000), 2000U);
    EXPECT_EQ(StrideBytes(8, 1001), 1001U);
    EXPECT_EQ(StrideBytes(8, 0), 0U);
    EXPECT_EQ(StrideBytes(16, 0xFFFFFFFF), 0U) << "does not fit";
}

TEST(Units, BuffersHaveSpareLines)
{
    EXPECT_EQ(RoomyFrameBytes(1, 1920, 1080), 1920U * 1081);
    EXPECT_EQ(RoomyFrameBytes(2, 100, 50), 2U * 100 * 53) << "narrow lines: three spare ones";
    EXPECT_EQ(RoomyFrameBytes(1, 256, 2), 256U * 3);
    EXPECT_EQ(RoomyFrameBytes(1, 1, 1), 257U);
    EXPECT_EQ(RoomyFrameBytes(1, 0, 1080), 0U);
    EXPECT_EQ(RoomyFrameBytes(2, 0x10000, 0x8000), 2U * 0x10000) << "wraps at 32 bits";
}

} // namespace KvTd
