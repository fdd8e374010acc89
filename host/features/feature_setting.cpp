#include "features/feature_setting.h"

#include "base/printable.h"
#include "features/value_text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace kvgrab
{

namespace
{

bool IsWord(std::string_view text)
{
    const auto isWordByte = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '_' || c == '.' || c == ':' || c == '-';
    };
    return !text.empty() && std::all_of(text.begin(), text.end(), isWordByte);
}

/** The value of a TOML node as text; nothing for a table, an array, a date or a time. */
std::optional<std::string> TextOf(const toml::node& node)
{
    if (const auto* text = node.as_string()) {
        return text->get();
    }
    if (const auto* number = node.as_integer()) {
        return std::to_string(number->get());
    }
    if (const auto* number = node.as_floating_point()) {
        return NumberText(number->get());
    }
    if (const auto* flag = node.as_boolean()) {
        return flag->get() ? "true" : "false";
    }
    return std::nullopt;
}

} // namespace

std::string FeatureName::Text() const
{
    const std::string name = base::Printable(feature);
    return selected.empty()
               ? name
               : fmt::format("{}[{}]", name,
                             base::Printable(fmt::format("{}", fmt::join(selected, ","))));
}

std::optional<FeatureName> ParseFeatureName(std::string_view text)
{
    FeatureName name;
    const std::size_t bracket = text.find('[');
    if (bracket != std::string_view::npos) {
        if (!text.ends_with(']')) {
            return std::nullopt;
        }
        std::string_view values = text.substr(bracket + 1, text.size() - bracket - 2);
        for (bool more = true; more;) {
            const std::size_t comma = values.find(',');
            name.selected.emplace_back(values.substr(0, comma));
            more = comma != std::string_view::npos;
            values.remove_prefix(more ? comma + 1 : 0);
        }
        text = text.substr(0, bracket);
    }
    name.feature = text;
    const bool allWords =
        IsWord(name.feature) && std::all_of(name.selected.begin(), name.selected.end(), IsWord);
    return allWords ? std::optional(name) : std::nullopt;
}

std::optional<FeatureSetting> ParseSetting(std::string_view text)
{
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos) {
        return std::nullopt;
    }
    const std::optional<FeatureName> name = ParseFeatureName(text.substr(0, equals));
    if (!name) {
        return std::nullopt;
    }
    return FeatureSetting{*name, std::string(text.substr(equals + 1)), ""};
}

std::vector<FeatureSetting> ReadFeatureSettings(base::TableReader& root, std::string_view fileName)
{
    std::vector<FeatureSetting> settings;
    for (const auto& [key, node] : root.Entries("features", "a table of features and values")) {
        const std::string shown = base::Quoted(key);
        const auto name = ParseFeatureName(key);
        if (!name) {
            root.RefuseAt(*node,
                          fmt::format("features.{} names no feature; expected a name such as "
                                      "Width, \"Gain[DigitalAll]\" or "
                                      "\"LUTValue[Luminance,7]\"",
                                      shown));
        }
        const std::optional<std::string> value = TextOf(*node);
        if (!value) {
            root.RefuseAt(*node, fmt::format("features.{} is no single value; expected a text, a "
                                             "number, true or false (names with brackets stand in "
                                             "quotes)",
                                             shown));
        }
        if (value->find('\0') != std::string::npos) {
            root.RefuseAt(*node, fmt::format("features.{} holds a zero character", shown));
        }
        const toml::source_position& at = node->source().begin;
        settings.push_back({*name, *value, fmt::format("{}:{}:{}", fileName, at.line, at.column)});
    }
    return settings;
}

std::vector<FeatureSetting> ParseFeatureFile(std::string_view text, std::string_view fileName)
{
    base::TomlContext context{std::string(fileName)};
    const toml::table tables = base::ParseToml(text, context);
    base::TableReader root(context, tables);
    std::vector<FeatureSetting> settings = ReadFeatureSettings(root, fileName);
    root.Require("features", "the table that kvgrab features --save writes");
    root.Finish();
    return settings;
}

} // namespace kvgrab
