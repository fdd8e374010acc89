// Which texts are look-up tables, and how the others are refused.

#include "config/lut_file.h"
#include "tests/base/text_cases.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <numeric>
#include <string>

namespace
{

using namespace kvgrab;
using Entries = std::vector<std::uint16_t>;

/** `pattern` as often as that, with an index from 0 and a value from `offset`. */
std::string Text(int count, const char* pattern, int offset = 0)
{
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += fmt::format(fmt::runtime(pattern), i, i + offset);
    }
    return text;
}

Entries Ramp(std::size_t count, std::uint16_t offset = 0)
{
    Entries entries(count);
    std::iota(entries.begin(), entries.end(), offset);
    return entries;
}

TEST(LutFile, GivesItsEntriesInManyForms)
{
    const std::string lines = Text(256, "{}\n");
    std::string rows = Text(260, "{},");
    for (std::size_t at = 0; (at = rows.find("9,", at)) != std::string::npos; ++at) {
        rows[at + 1] = '\n'; // rows of ten
    }
    const struct {
        const char* name;
        std::string text;
        Entries entries;
    } kCases[] = {
        {"one a line", lines, Ramp(256)},
        {"no feed at the end", lines.substr(0, lines.size() - 1), Ramp(256)},
        {"Windows lines", Text(256, " {}\t\r\n"), Ramp(256)},
        {"byte order mark", "\xEF\xBB\xBF" + lines, Ramp(256)},
        {"one line", Text(256, "{} "), Ramp(256)},
        {"separator at the end", Text(300, "{}, "), Ramp(300)},
        {"comments, empty lines", "# 1\n\n  \t# 2\n" + Text(256, "{} # 9, 9\n"), Ramp(256)},
        {"rows", rows, Ramp(260)},
        {"rows with a rest", rows + "260,261", Ramp(262)},
        {"semicolons", Text(256, "{} ; "), Ramp(256)},
        {"tabs", Text(256, "{}\t"), Ramp(256)},
        {"hexadecimal", Text(256, "{:#x}\n"), Ramp(256)},
        {"capital hexadecimal", Text(256, "{:#X}\n"), Ramp(256)},
        {"largest entry", Text(256, "{1}\n", 3840), Ramp(256, 3840)},
        {"header of one word", "\"value\"\n" + lines, Ramp(256)},
        {"index by header", "# t\nindex,value\n" + Text(256, "{},{}\n", 3), Ramp(256, 3)},
        {"index by shape", Text(300, "{};{}\n", 9), Ramp(300, 9)},
        {"index by blanks", Text(256, "{}  {}\n"), Ramp(256)},
        {"most entries", Text(65535, "7 #{}\n"), Entries(65535, 7)},
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
    EXPECT_EQ(Error(Text(255, "{}\n")), "t.csv: holds 255 entries; expected 256 to 65535");
    EXPECT_EQ(Error(Text(65536, "7 #{}\n")),
              "t.csv:65536:1: entry 65536; expected 256 to 65535 entries");
    EXPECT_THAT(Error(std::string("\xFF\xFE\x31\0", 4)),
                testing::StartsWith(R"(t.csv:1:1: this is "\xff\xfe1\x00")"));
}

} // namespace
