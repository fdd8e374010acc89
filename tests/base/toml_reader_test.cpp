// Which values each reading function accepts and how it refuses the rest: the cases in TOML_CASES.

#include "base/toml_reader.h"
#include "tests/base/text_cases.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace
{

using base::TableReader;

constexpr base::Named<int> kKinds[] = {{"first", 1}, {"second", 2}};

/** Reads a key of each kind; in order: what was read, as "key:value". */
std::vector<std::string> ReadAll(TableReader& in)
{
    std::vector<std::string> read;
    const auto note = [&read](const char* key, const auto& value) {
        if (value) {
            read.push_back(fmt::format("{}:{}", key, *value));
        }
    };
    note("text", in.Text("text", "a name"));
    note("flag", in.Flag("flag"));
    note("whole", in.Integer("whole", -1, 9));
    note("size", in.Integer("size", 1, 9, "pixels from 1 to 9"));
    note("number", in.Number("number", {0, 1e9}));
    note("rate", in.Number("rate", {1, 9, "frames per second from 1 to 9"}));
    note("kind", in.OneOf<int>("kind", kKinds));
    note("list", in.Integers("list", 0, 7, "an array of positions from 0 to 7"));
    for (const auto& [name, node] : in.Entries("entries", "a table of kinds")) {
        read.push_back(fmt::format("{}:{}", name, in.Chosen<int>("entries", *node, kKinds)));
    }
    if (auto table = in.Table("table")) {
        table->Require("must", "anything");
        table->Needs("width", "height", "both make a size");
        table->Forbid("never", "it is too late");
        table->Find("width");
        note("height", table->Integer("height", 0, 9));
        if (table->Has("width")) {
            table->Warn("width", "is ignored");
        }
        table->Finish();
    }
    for (TableReader& table : in.Tables("tables")) {
        note("x", table.Flag("x"));
        table.Finish();
    }
    in.Finish();
    return read;
}

std::string Outcome(const std::string& text)
{
    base::TomlContext context{"t"};
    try {
        const toml::table table = base::ParseToml(text, context);
        TableReader root(context, table);
        std::vector<std::string> outcome = ReadAll(root);
        outcome.insert(outcome.end(), context.warnings.begin(), context.warnings.end());
        return outcome.empty() ? "nothing" : fmt::format("{}", fmt::join(outcome, " "));
    } catch (const base::TextError& error) {
        return error.Message();
    }
}

TEST(TomlReader, ReadsWhatFitsAndRefusesTheRestWithItsPlace)
{
    ExpectOutcomes(TOML_CASES, Outcome);
    EXPECT_EQ(base::TextError({.name = "t", .text = "is empty"}).Message(), "t: is empty");
}

} // namespace
