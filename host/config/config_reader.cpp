#include "config/config_reader.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace kvgrab
{

namespace
{

/** A value as a message shows it: short, and on one line. */
std::string Shown(const toml::node& node)
{
    if (node.is_table()) {
        return "a table";
    }
    if (node.is_array()) {
        return "an array";
    }
    std::ostringstream out;
    node.visit([&out](const auto& value) {
        if constexpr (toml::is_value<decltype(value)>) {
            out << value;
        }
    });
    constexpr std::size_t kLongest = 40;
    std::string text = out.str();
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < ' '; }, ' ');
    return text.size() <= kLongest ? text : text.substr(0, kLongest) + "...";
}

} // namespace

TableReader::TableReader(ReadContext& context, const toml::table& table, std::string path)
    : context_(context), table_(table), path_(std::move(path))
{
}

std::string TableReader::FullName(std::string_view key) const
{
    return path_.empty() ? std::string(key) : path_ + "." + std::string(key);
}

const toml::node* TableReader::Find(std::string_view key)
{
    if (std::find(known_.begin(), known_.end(), key) == known_.end()) {
        known_.emplace_back(key);
    }
    return table_.get(key);
}

void TableReader::RefuseAt(const toml::source_region& where, const std::string& text) const
{
    throw ConfigError{context_.name, where.begin.line, where.begin.column, text};
}

void TableReader::Refuse(std::string_view key, const std::string& text) const
{
    const toml::node* node = table_.get(key);
    RefuseAt(node != nullptr ? node->source() : table_.source(), FullName(key) + " " + text);
}

void TableReader::RefuseValue(std::string_view key, const toml::node& node,
                              std::string_view expected) const
{
    RefuseAt(node.source(),
             FullName(key) + " is " + Shown(node) + "; expected " + std::string(expected));
}

void TableReader::Warn(std::string_view key, const std::string& text) const
{
    const toml::node* node = table_.get(key);
    const toml::source_region& where = node != nullptr ? node->source() : table_.source();
    context_.warnings.push_back(
        ConfigError{context_.name, where.begin.line, where.begin.column, FullName(key) + " " + text}
            .Message());
}

void TableReader::Needs(std::string_view key, std::string_view needed, std::string_view why)
{
    if (Has(key) && !Has(needed)) {
        Refuse(key, "needs " + FullName(needed) + ": " + std::string(why));
    }
}

std::optional<std::string> TableReader::Text(std::string_view key, std::string_view expected)
{
    const toml::node* node = Find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    const toml::value<std::string>* text = node->as_string();
    if (text == nullptr) {
        RefuseValue(key, *node, expected);
    }
    if (text->get().find('\0') != std::string::npos) {
        Refuse(key, "holds a zero character; expected " + std::string(expected));
    }
    return text->get();
}

std::optional<bool> TableReader::Flag(std::string_view key)
{
    const toml::node* node = Find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    const toml::value<bool>* flag = node->as_boolean();
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
    const toml::value<std::int64_t>* number = node->as_integer();
    if (number == nullptr || number->get() < min || number->get() > max) {
        RefuseValue(key, *node, expected);
    }
    return number->get();
}

std::optional<double> TableReader::Number(std::string_view key, const NumberRule& rule)
{
    const toml::node* node = Find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    const std::optional<double> number =
        node->is_number() ? node->value<double>() : std::optional<double>();
    if (!number || !std::isfinite(*number) || *number > rule.max ||
        (rule.minIncluded ? *number < rule.min : *number <= rule.min)) {
        RefuseValue(key, *node, rule.expected);
    }
    return number;
}

std::optional<int> TableReader::OneOf(std::string_view key, std::span<const Choice> choices)
{
    const toml::node* node = Find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    std::string expected = "one of";
    const char* separator = " ";
    for (const Choice& choice : choices) {
        if (node->is_string() && node->as_string()->get() == choice.name) {
            return choice.value;
        }
        expected += separator + ("\"" + std::string(choice.name)) + "\"";
        separator = ", ";
    }
    RefuseValue(key, *node, expected);
}

std::optional<std::vector<std::int64_t>> TableReader::Integers(std::string_view key,
                                                               std::int64_t min, std::int64_t max,
                                                               std::string_view expected)
{
    const toml::node* node = Find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    const toml::array* array = node->as_array();
    if (array == nullptr) {
        RefuseValue(key, *node, expected);
    }
    std::vector<std::int64_t> values;
    values.reserve(array->size());
    for (const toml::node& item : *array) {
        const toml::value<std::int64_t>* number = item.as_integer();
        if (number == nullptr || number->get() < min || number->get() > max) {
            RefuseValue(std::string(key) + "[" + std::to_string(values.size()) + "]", item,
                        expected);
        }
        values.push_back(number->get());
    }
    return values;
}

std::optional<TableReader::NamedFile> TableReader::File(std::string_view key,
                                                        std::string_view expected)
{
    const auto named = Text(key, expected);
    if (!named) {
        return std::nullopt;
    }
    if (named->empty()) {
        Refuse(key, "is empty; expected " + std::string(expected));
    }
    NamedFile file{FromConfigFolder(*named, context_.name), {}};
    std::string why;
    if (!context_.read(file.path, &file.text, &why)) {
        Refuse(key, "can't be read: " + file.path + ": " + why);
    }
    return file;
}

const toml::table* TableReader::Table(std::string_view key)
{
    const toml::node* node = Find(key);
    if (node == nullptr) {
        return nullptr;
    }
    if (!node->is_table()) {
        RefuseValue(key, *node, "a table");
    }
    return node->as_table();
}

std::vector<const toml::table*> TableReader::Tables(std::string_view key)
{
    std::vector<const toml::table*> tables;
    const toml::node* node = Find(key);
    if (node == nullptr) {
        return tables;
    }
    const std::string expected = "tables, each headed [[" + FullName(key) + "]]";
    if (!node->is_array()) {
        RefuseValue(key, *node, expected);
    }
    for (const toml::node& item : *node->as_array()) {
        if (!item.is_table()) {
            RefuseValue(key, item, expected);
        }
        tables.push_back(item.as_table());
    }
    return tables;
}

void TableReader::Finish() const
{
    for (const auto& [key, node] : table_) {
        if (std::find(known_.begin(), known_.end(), key.str()) != known_.end()) {
            continue;
        }
        std::string text = "unknown key " + FullName(key.str()) + "; known ";
        text += path_.empty() ? "tables:" : "keys of [" + path_ + "]:";
        const char* separator = " ";
        for (const std::string& known : known_) {
            text += separator + known;
            separator = ", ";
        }
        RefuseAt(key.source(), text);
    }
}

} // namespace kvgrab
