// Which texts are look-up tables, and how the others are refused.

#include "config/lut_file.h"

#include <gmock/gmock.h>

#include <string>

namespace
{

using namespace kvgrab;
using Entries = std::vector<std::uint16_t>;

/** The numbers 0 to count - 1, each between `before` and `after`. */
std::string Counted(int count, const std::string& before, const std::string& after, int from = 0)
{
    std::string text;
    for (int i = from; i < from + count; ++i) {
        text += before + std::to_string(i) + after;
    }
    return text;
}

/** "0,0\n1,1\n..." with another separator. */
std::string Pairs(int count, const std::string& separator, int valueOffset = 0)
{
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += std::to_string(i) + separator + std::to_string(i + valueOffset) + "\n";
    }
    return text;
}

/** Lines of `perLine` numbers. */
std::string Rows(int count, int perLine, const std::string& separator)
{
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += std::to_string(i) + ((i + 1) % perLine == 0 ? "\n" : separator);
    }
    return text;
}

Entries Ramp(int count, int offset = 0)
{
    Entries entries;
    for (int i = 0; i < count; ++i) {
        entries.push_back(static_cast<std::uint16_t>(i + offset));
    }
    return entries;
}

struct GoodCase {
    const char* name;
    std::string text;
    Entries entries;
};

class GoodLut : public testing::TestWithParam<GoodCase>
{
};

TEST_P(GoodLut, GivesItsEntries)
{
    const auto outcome = ParseLutFile(GetParam().text, "t.csv", 12);
    const auto* error = std::get_if<ConfigError>(&outcome);
    ASSERT_EQ(error, nullptr) << error->Message();
    EXPECT_EQ(std::get<Entries>(outcome), GetParam().entries);
}

INSTANTIATE_TEST_SUITE_P(
    LutFile, GoodLut,
    testing::Values(GoodCase{"OneALine", Counted(256, "", "\n"), Ramp(256)},
                    GoodCase{"NoFeedAtTheEnd", Counted(255, "", "\n") + "255", Ramp(256)},
                    GoodCase{"WindowsLines", Counted(256, " ", "\t\r\n"), Ramp(256)},
                    GoodCase{"ByteOrderMark", "\xEF\xBB\xBF" + Counted(256, "", "\n"), Ramp(256)},
                    GoodCase{"OneLine", Counted(256, "", " "), Ramp(256)},
                    GoodCase{"SeparatorAtTheEnd", Counted(300, "", ", "), Ramp(300)},
                    GoodCase{"CommentsAndEmptyLines",
                             "# 1\n\n  \t# 2\n" + Counted(256, "", " # 9, 9\n"), Ramp(256)},
                    GoodCase{"RowsWithARest", Rows(260, 16, ","), Ramp(260)},
                    GoodCase{"Semicolons", Rows(256, 8, " ; "), Ramp(256)},
                    GoodCase{"Tabs", Rows(256, 4, "\t"), Ramp(256)},
                    GoodCase{"Hexadecimal", "0x0A\n0XfF\n" + Counted(254, "", "\n", 2),
                             [] {
                                 Entries entries = Ramp(256);
                                 entries[0] = 10;
                                 entries[1] = 255;
                                 return entries;
                             }()},
                    GoodCase{"LargestEntry", Counted(255, "", "\n") + "4095",
                             [] {
                                 Entries entries = Ramp(256);
                                 entries[255] = 4095;
                                 return entries;
                             }()},
                    GoodCase{"HeaderOfOneWord", "\"value\"\n" + Counted(256, "", "\n"), Ramp(256)},
                    GoodCase{"IndexByHeader", "# t\nindex,value\n" + Pairs(256, ",", 3),
                             Ramp(256, 3)},
                    GoodCase{"IndexByShape", Pairs(300, ";", 9), Ramp(300, 9)},
                    GoodCase{"IndexByBlanks", Pairs(256, "  "), Ramp(256)},
                    GoodCase{"MostEntries", Counted(65535, "7 #", "\n"), Entries(65535, 7)}),
    [](const auto& test) { return test.param.name; });

struct BadCase {
    const char* name;
    std::string text;
    const char* message; ///< begins with it
};

class BadLut : public testing::TestWithParam<BadCase>
{
};

TEST_P(BadLut, IsRefusedWithPlaceAndExpectation)
{
    const auto outcome = ParseLutFile(GetParam().text, "t.csv", 8);
    const auto* error = std::get_if<ConfigError>(&outcome);
    ASSERT_NE(error, nullptr);
    EXPECT_THAT(error->Message(), testing::StartsWith(GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    LutFile, BadLut,
    testing::Values(
        BadCase{"Empty", "", "t.csv: holds 0 entries; expected 256 to 65535"},
        BadCase{"TooFew", Counted(255, "", "\n"), "t.csv: holds 255 entries"},
        BadCase{"TooMany", Counted(65536, "7 #", "\n"), "t.csv:65536:1: entry 65536; expected 256"},
        BadCase{"TooLarge", "1\n 256\n",
                "t.csv:2:2: this is \"256\"; expected an entry from 0 to 255 "
                "(lut.bits is 8)"},
        BadCase{"FarTooLarge", "1\n99999999999999999999\n",
                "t.csv:2:1: this is \"99999999999999999999\""},
        BadCase{"Negative", "1\n-1\n", "t.csv:2:1: this is \"-1\"; expected an entry"},
        BadCase{"NegativeAtFirst", "-1\n", "t.csv:1:1: this is \"-1\"; expected a whole number"},
        BadCase{"Fraction", "1\n2.5\n", "t.csv:2:1: this is \"2.5\""},
        BadCase{"BareHexPrefix", "1\n0x\n", "t.csv:2:1: this is \"0x\""},
        BadCase{"Word", "1\nvalue\n", "t.csv:2:1: this is \"value\""},
        BadCase{"Unprintable", std::string("\xFF\xFE\x31\0", 4),
                R"(t.csv:1:1: this is "\xff\xfe1\x00")"},
        BadCase{"NothingBetween", "1,,2\n", "t.csv:1:3: nothing stands before"},
        BadCase{"NothingAtFirst", ",1\n", "t.csv:1:1: nothing stands before"},
        BadCase{"DecimalComma", "0;0,5\n", "t.csv:1:4: commas and semicolons are mixed"},
        BadCase{"MixedOnLines", "1,2,3\n4;5;6\n", "t.csv:2:2: commas and semicolons are mixed"},
        BadCase{"MissingInTheMiddle", "1 2 3\n4 5\n6 7 8\n",
                "t.csv:3:1: line 2 above has fewer numbers"},
        BadCase{"MoreThanAtFirst", "1\n2 3\n", "t.csv:2:3: numbers on this line: 2; expected 1"},
        BadCase{"NumberInHeader", "index,1\n", "t.csv:1:7: a number among the words"},
        BadCase{"ThreeColumns", "a;b;c\n", "t.csv:1:5: the header has 3 columns"},
        BadCase{"TwoHeaders", "value\nvalue\n", "t.csv:2:1: this is \"value\""},
        BadCase{"TwoALineAreNoIndex", "0 1\n2 3\n",
                "t.csv:2:1: index 2; expected 1: on lines of two"},
        BadCase{"IndexFromOne", "1,1\n2,2\n", "t.csv:1:1: index 1; expected 0"},
        BadCase{"IndexTwice", "index;value\n0;1\n0;2\n", "t.csv:3:1: index 0; expected 1"},
        BadCase{"IndexWithoutValue", "index,value\n0,\n", "t.csv:2:1: numbers on this line: 1"},
        BadCase{"IndexWithTwoValues", "0 1\n1 2 3\n", "t.csv:2:5: numbers on this line: 3"},
        BadCase{"ListBelowTwoColumns", "Gamma curve\n1\n", "t.csv:2:1: numbers on this line: 1"}),
    [](const auto& test) { return test.param.name; });

} // namespace
