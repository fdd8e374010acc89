// Which texts are look-up tables, and how the others are refused.

#include "config/lut_file.h"
#include "tests/base/text_cases.h"

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

/** The same with another entry in one place. */
Entries With(Entries entries, std::size_t at, std::uint16_t entry)
{
    entries[at] = entry;
    return entries;
}

TEST(LutFile, GivesItsEntriesInManyForms)
{
    const std::string lines = Counted(256, "", "\n");
    const struct {
        const char* name;
        std::string text;
        Entries entries;
    } kCases[] = {
        {"one a line", lines, Ramp(256)},
        {"no feed at the end", Counted(255, "", "\n") + "255", Ramp(256)},
        {"Windows lines", Counted(256, " ", "\t\r\n"), Ramp(256)},
        {"byte order mark", "\xEF\xBB\xBF" + lines, Ramp(256)},
        {"one line", Counted(256, "", " "), Ramp(256)},
        {"separator at the end", Counted(300, "", ", "), Ramp(300)},
        {"comments, empty lines", "# 1\n\n  \t# 2\n" + Counted(256, "", " # 9, 9\n"), Ramp(256)},
        {"rows with a rest", Rows(260, 16, ","), Ramp(260)},
        {"semicolons", Rows(256, 8, " ; "), Ramp(256)},
        {"tabs", Rows(256, 4, "\t"), Ramp(256)},
        {"hexadecimal", "0x0A\n0XfF\n" + Counted(254, "", "\n", 2),
         With(With(Ramp(256), 0, 10), 1, 255)},
        {"largest entry", Counted(255, "", "\n") + "4095", With(Ramp(256), 255, 4095)},
        {"header of one word", "\"value\"\n" + lines, Ramp(256)},
        {"index by header", "# t\nindex,value\n" + Pairs(256, ",", 3), Ramp(256, 3)},
        {"index by shape", Pairs(300, ";", 9), Ramp(300, 9)},
        {"index by blanks", Pairs(256, "  "), Ramp(256)},
        {"most entries", Counted(65535, "7 #", "\n"), Entries(65535, 7)},
    };
    for (const auto& row : kCases) {
        const auto outcome = ParseLutFile(row.text, "t.csv", 12);
        const auto* error = std::get_if<ConfigError>(&outcome);
        ASSERT_EQ(error, nullptr) << row.name << ": " << error->Message();
        EXPECT_EQ(std::get<Entries>(outcome), row.entries) << row.name;
    }
}

/** The error of a text named t.csv of entries of 8 bits. */
std::string Error(const std::string& text)
{
    const auto outcome = ParseLutFile(text, "t.csv", 8);
    const auto* error = std::get_if<ConfigError>(&outcome);
    return error != nullptr ? error->Message() : "accepted";
}

TEST(LutFile, IsRefusedWithPlaceAndExpectation)
{
    ExpectOutcomes(CONFIG_CASES "/lut_cases.txt", Error);
    EXPECT_EQ(Error(Counted(255, "", "\n")), "t.csv: holds 255 entries; expected 256 to 65535");
    EXPECT_EQ(Error(Counted(65536, "7 #", "\n")),
              "t.csv:65536:1: entry 65536; expected 256 to 65535 entries");
    EXPECT_THAT(Error(std::string("\xFF\xFE\x31\0", 4)),
                testing::StartsWith(R"(t.csv:1:1: this is "\xff\xfe1\x00")"));
}

} // namespace
