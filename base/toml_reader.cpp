#include "base/toml_reader.h"

#include "base/printable.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <sstream>

namespace base
{

namespace
{

/** A value as a message shows it: short and on one line. */
std::string Shown(const toml::node& node)
{
    if (node.is_table()) {
        return "a table";
    }
    if (node.is_array()) {
        return "an array";
    }
    if (const auto* text = node.as_string()) {
        return Quoted(text->get());
    }
    if (const auto* number = node.as_floating_point()) {
        const std::string text = fmt::format("{}", number->get());
        const bool looksWhole = text.find_first_not_of("-0123456789") == std::string::npos;
        return fmt::format("{}{}", text, looksWhole ? ".0" : "");
    }
    std::ostringstream out;
    node.visit([&out](const auto& value) {
        if constexpr (toml::is_value<decltype(value)>) {
            out << value;
        }
    });
    return out.str();
}

bool Before(const toml::source_region& a, const toml::source_region& b)
{
    return std::pair(a.begin.line, a.begin.column) < std::pair(b.begin.line, b.begin.column);
}

} // namespace

toml::table ParseToml(std::string_view text, const TomlContext& context)
{
    try {
        return toml::parse(text, context.name);
    } catch (const toml::parse_error& error) {
        const toml::source_position& where = error.source().begin;
        throw TextError{context.name, where.line, where.column,
                        fmt::format("not valid TOML: {}", Printable(error.description()))};
    }
}

TableReader::TableReader(TomlContext& context, const toml::table& table, std::string path)
    : context_(&context), table_(&table), path_(std::move(path))
{
}

std::string TableReader::FullName(std::string_view key) const
{
    return Printable(path_.empty() ? std::string(key) : fmt::format("{}.{}", path_, key));
}

TextError TableReader::ErrorAt(const toml::source_region& where, std::string text) const
{
    return {context_->name, where.begin.line, where.begin.column, std::move(text)};
}

TextError TableReader::ErrorOf(std::string_view key, std::string_view text) const
{
    const toml::node* node = table_->get(key);
    return ErrorAt(node != nullptr ? node->source() : table_->source(),
                   fmt::format("{} {}", FullName(key), text));
}

const toml::node* TableReader::Find(std::string_view key)
{
    if (std::find(known_.begin(), known_.end(), key) == known_.end()) {
        known_.emplace_back(key);
    }
    return table_->get(key);
}

std::optional<std::string> TableReader::Text(std::string_view key, std::string_view expected)
{
    const toml::node* node = Find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    const auto* text = node->as_string();
    if (text == nullptr) {
        RefuseValue(key, *node, expected);
    }
    if (text->get().find('\0') != std::string::npos) {
        Refuse(key, fmt::format("holds a zero character; expected {}", expected));
    }
    return text->get();
}

std::optional<bool> TableReader::Flag(std::string_view key)
{
    const toml::node* node = Find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    const auto* flag = node->as_boolean();
    if (flag == nullptr) {
        RefuseValue(key, *node, "true or false");
    }
    return flag->get();
}

std::optional<std::int64_t> TableReader::Integer(std::string_view key, std::int64_t min,
                                                 std::int64_t max, std::string_view expected)
{
    const toml::node* node = Find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    const auto* number = node->as_integer();
    if (number == nullptr || number->get() < min || number->get() > max) {
        RefuseValue(key, *node,
                    expected.empty() ? fmt::format("an integer from {} to {}", min, max)
                                     : std::string(expected));
    }
    return number->get();
}

std::optional<double> TableReader::Number(std::string_view key, const NumberRule& rule)
{
    const toml::node* node = Find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    const auto number = node->is_number() ? node->value<double>() : std::nullopt;
    if (!number || !(*number >= rule.min && *number <= rule.max)) { // NaN fails both
        RefuseValue(key, *node,
                    rule.expected.empty()
                        ? fmt::format("a number from {:.15g} to {:.15g}", rule.min, rule.max)
                        : std::string(rule.expected));
    }
    return number;
}

std::optional<std::vector<std::int64_t>> TableReader::Integers(std::string_view key,
                                                               std::int64_t min, std::int64_t max,
                                                               std::string_view expected)
{
    if (Find(key) == nullptr) {
        return std::nullopt;
    }
    std::vector<std::int64_t> values;
    for (const toml::node* item : Array(key, expected)) {
        const auto* number = item->as_integer();
        if (number == nullptr || number->get() < min || number->get() > max) {
            RefuseValue(fmt::format("{}[{}]", key, values.size()), *item, expected);
        }
        values.push_back(number->get());
    }
    return values;
}

std::vector<const toml::node*> TableReader::Array(std::string_view key, std::string_view expected)
{
    std::vector<const toml::node*> nodes;
    const toml::node* node = Find(key);
    if (node == nullptr) {
        return nodes;
    }
    const toml::array* array = node->as_array();
    if (array == nullptr) {
        RefuseValue(key, *node, expected);
    }
    for (const toml::node& element : *array) {
        nodes.push_back(&element);
    }
    return nodes;
}

std::vector<std::pair<std::string, const toml::node*>>
TableReader::Entries(std::string_view key, std::string_view expected)
{
    std::vector<std::pair<std::string, const toml::node*>> entries;
    const toml::node* node = Find(key);
    if (node == nullptr) {
        return entries;
    }
    const toml::table* table = node->as_table();
    if (table == nullptr) {
        RefuseValue(key, *node, expected);
    }
    for (const auto& [name, value] : *table) {
        entries.emplace_back(std::string(name.str()), &value);
    }
    std::stable_sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
        return Before(a.second->source(), b.second->source());
    });
    return entries;
}

std::optional<TableReader> TableReader::Table(std::string_view key)
{
    const toml::node* node = Find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    if (!node->is_table()) {
        RefuseValue(key, *node, "a table");
    }
    return TableReader(*context_, *node->as_table(), FullName(key));
}

std::vector<TableReader> TableReader::Tables(std::string_view key)
{
    const std::string expected = fmt::format("tables, each headed [[{}]]", FullName(key));
    std::vector<TableReader> tables;
    for (const toml::node* node : Array(key, expected)) {
        if (!node->is_table()) {
            RefuseValue(key, *node, expected);
        }
        tables.emplace_back(*context_, *node->as_table(), FullName(key));
    }
    return tables;
}

void TableReader::Require(std::string_view key, std::string_view expected)
{
    if (Find(key) == nullptr) {
        Refuse(key, fmt::format("is missing; expected {}", expected));
    }
}

void TableReader::Needs(std::string_view key, std::string_view needed, std::string_view why)
{
    if (Has(key) && !Has(needed)) {
        Refuse(key, fmt::format("needs {}: {}", FullName(needed), why));
    }
}

void TableReader::Forbid(std::string_view key, std::string_view why)
{
    if (Find(key) != nullptr) {
        Refuse(key, fmt::format("has no meaning here: {}", why));
    }
}

void TableReader::Refuse(std::string_view key, std::string_view text) const
{
    throw ErrorOf(key, text);
}

void TableReader::RefuseValue(std::string_view key, const toml::node& node,
                              std::string_view expected) const
{
    RefuseAt(node, fmt::format("{} is {}; expected {}", FullName(key), Shown(node), expected));
}

void TableReader::RefuseAt(const toml::node& node, std::string text) const
{
    throw ErrorAt(node.source(), std::move(text));
}

void TableReader::Warn(std::string_view key, std::string_view text)
{
    context_->warnings.push_back(ErrorOf(key, text).Message());
}

void TableReader::Finish() const
{
    const toml::key* unknown = nullptr;
    for (const auto& [key, node] : *table_) {
        if (std::find(known_.begin(), known_.end(), key.str()) == known_.end() &&
            (unknown == nullptr || Before(key.source(), unknown->source()))) {
            unknown = &key;
        }
    }
    if (unknown != nullptr) {
        throw ErrorAt(unknown->source(),
                      fmt::format("unknown key {}; known keys are {}", FullName(unknown->str()),
                                  fmt::join(known_, ", ")));
    }
}

std::string TableReader::OneOfNames(const std::vector<std::string_view>& names)
{
    return fmt::format("one of \"{}\"", fmt::join(names, "\", \""));
}

} // namespace base
