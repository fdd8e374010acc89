/** The access rules, which all nodes follow, as values in and texts out. */
#include "genapi/access_rules.h"

#include "tests/platform/raised.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace
{

using namespace genapi;
using GenApi_3_0::NA;
using GenApi_3_0::NI;
using GenApi_3_0::RO;
using GenApi_3_0::RW;
using GenApi_3_0::WO;

TEST(AccessRules, WhatIsOutsideARangeIsToldWithItsLimits)
{
    constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
    const struct {
        std::int64_t value;
        IntegerRange range;
        const char* why;
    } kIntegers[] = {
        {16, {16, 64, 4}, ""},
        {64, {16, 64, 4}, ""},
        {15, {16, 64, 4}, "outside minimum 16, maximum 64 or increment 4"},
        {65, {16, 64, 1}, "outside minimum 16, maximum 64 or increment 1"},
        {18, {16, 64, 4}, "outside minimum 16, maximum 64 or increment 4"},
        {18, {17, 64, 4}, "outside minimum 17, maximum 64 or increment 4"}, // counted from min
        {18, {16, 64, 0}, ""},
        {18, {16, 64, -4}, ""},
        {kMax, {kMin, kMax, 1}, ""},
        {kMax,
         {kMin, kMax, 2}, // an odd distance that no signed number holds
         "outside minimum -9223372036854775808, maximum 9223372036854775807 or increment 2"},
        {5, {9, 3, 1}, "outside minimum 9, maximum 3 or increment 1"},
    };
    for (const auto& row : kIntegers) {
        EXPECT_EQ(RangeError(row.value, row.range).why, row.why) << row.value;
    }
    const struct {
        double value;
        FloatRange range;
        const char* why;
    } kFloats[] = {
        {1, {1, 8.3}, ""},
        {8.3, {1, 8.3}, ""},
        {8.31, {1, 8.3}, "outside minimum 1, maximum 8.3"},
        {0.99, {1, 8.3}, "outside minimum 1, maximum 8.3"},
        {NAN, {1, 8.3}, "outside minimum 1, maximum 8.3"},
        {1, {0, NAN}, "outside minimum 0, maximum nan"},
    };
    for (const auto& row : kFloats) {
        EXPECT_EQ(RangeError(row.value, row.range).why, row.why) << row.value;
    }
}

TEST(AccessRules, ATextFitsItsRegister)
{
    using namespace std::string_view_literals;
    EXPECT_EQ(TextError("12345678", 8).why, "");
    EXPECT_EQ(TextError("123456789", 8).why, "longer than 8 bytes");
    EXPECT_EQ(TextError("12\0"sv, 8).why, "contains a zero byte");
}

TEST(AccessRules, OnlyRoundingSnapsToALimit)
{
    const struct {
        double value;
        FloatRange range;
        double snapped;
    } kRows[] = {
        {1e6 + 0.9, {10, 1e6}, 1e6},    {1e6 + 1.1, {10, 1e6}, 1e6 + 1.1},
        {10 - 0.9e-5, {10, 1e6}, 10},   {10 - 1.1e-5, {10, 1e6}, 10 - 1.1e-5},
        {500, {10, 1e6}, 500},          {-1e-9, {0, 1}, -1e-9}, // a limit of 0 has no millionth
        {-10 - 0.9e-5, {-10, -1}, -10}, {-1 + 0.9e-6, {-10, -1}, -1},
    };
    for (const auto& row : kRows) {
        EXPECT_EQ(SnappedToLimit(row.value, row.range), row.snapped) << row.value;
    }
}

/** What a write raises, behind "reached, " when it reaches the camera. */
std::string Outcome(bool verify, Unverified unverified, EAccessMode mode,
                    const Violation& violation)
{
    std::string reached;
    const std::string raised = Raised([&] {
        CheckWrite(
            {"Width", verify, unverified}, mode, [] { return "5"; }, [&] { return violation; },
            [&] { reached = "reached, "; });
    });
    return reached + raised;
}

TEST(AccessRules, ABrokenRuleIsToldHereOrByTheCamera)
{
    const Violation none;
    const Violation range{Violation::Rule::Range, "outside"};
    const Violation missing = EntryError(false, RW);
    const struct {
        EAccessMode mode;
        Violation violation;
        const char* kind; ///< of the exception, when the write is verified
        const char* why;  ///< empty: no rule is broken
    } kRows[] = {
        {RW, none, "", ""},
        {WO, none, "", ""},
        {RW, range, "OutOfRange", "outside"},
        {RW, missing, "InvalidArgument", "no such entry"},
        {RW, EntryError(true, NI), "Access", "entry not implemented"},
        {RW, EntryError(true, NA), "Access", "entry not available now"},
        {RW, EntryError(true, RO), "Access", "entry not available now"},
        {RW, EntryError(true, RW), "", ""},
        {RO, none, "Access", "not writable now"},
        {NA, range, "Access", "not writable now"}, // the mode comes first
        {NI, missing, "Access", "not writable now"},
    };
    for (const auto& row : kRows) {
        const std::string why = row.why;
        const std::string attempt = "Width = 5: ";
        const auto expect = [&](bool verify, Unverified unverified, const std::string& refusal) {
            EXPECT_EQ(Outcome(verify, unverified, row.mode, row.violation),
                      why.empty() ? "reached, " : refusal)
                << "row " << &row - kRows << ", verified: " << verify;
        };
        expect(true, Unverified::ReachesCamera, row.kind + (" " + attempt) + why);
        expect(true, Unverified::StaysHere, row.kind + (" " + attempt) + why);
        expect(false, Unverified::StaysHere, "Runtime " + attempt + "refused, " + why);
        expect(false, Unverified::ReachesCamera,
               "reached, Runtime " + attempt + "refused by the camera, " + why);
    }
}

TEST(AccessRules, WhatIsReadableIsReadWithoutAWord)
{
    const std::pair<EAccessMode, std::string> kRows[] = {
        {NI, "Access Width: not readable now (access mode NI)"},
        {NA, "Access Width: not readable now (access mode NA)"},
        {WO, "Access Width: not readable now (access mode WO)"},
        {RO, ""},
        {RW, ""}};
    for (const auto& row : kRows) {
        EXPECT_EQ(Raised([&] { RequireReadable("Width", row.first); }), row.second) << row.first;
    }
}

} // namespace
