// Features and values as users write them, and as files have them.

#include "features/feature_setting.h"
#include "features/value_text.h"
#include "tests/base/text_cases.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <sstream>

namespace
{

using namespace kvgrab;

template <class Value> std::string Shown(const std::optional<Value>& value)
{
    return value ? fmt::format("{}", *value) : "nothing";
}

/** Bytes that the file of cases can't have are written as \x1b. */
std::string WithBytes(std::string text)
{
    for (std::size_t at; (at = text.find("\\x")) != std::string::npos;) {
        text.replace(at, 4, 1, static_cast<char>(std::stoi(text.substr(at + 2, 2), nullptr, 16)));
    }
    return text;
}

std::string Outcome(const std::string& line)
{
    const std::string kind = line.substr(0, line.find(' '));
    const std::string text = line.substr(kind.size() + 1, line.size() - kind.size() - 2);
    if (kind == "setting") {
        const auto setting = ParseSetting(text);
        return setting ? fmt::format("{} = \"{}\"", setting->name.Text(), setting->value)
                       : "nothing";
    }
    if (kind == "near") {
        std::istringstream words(text);
        const std::vector<std::string> names(std::istream_iterator<std::string>(words), {});
        return fmt::format("{}",
                           fmt::join(NearNames(names[0], {names.begin() + 1, names.end()}), " "));
    }
    return kind == "integer"   ? Shown(ParseInteger(text))
           : kind == "number"  ? Shown(ParseNumber(text))
           : kind == "boolean" ? Shown(ParseBoolean(text))
           : kind == "toml"    ? Shown(TomlString(WithBytes(text)))
                               : TomlNumber(std::stod(text));
}

TEST(Features, AreWrittenAndReadAsTexts)
{
    ExpectOutcomes(FEATURE_CASES, Outcome);
}

} // namespace
