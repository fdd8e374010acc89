#include "sim/description/description_reader.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace sim
{

namespace
{

std::string Digits(double value)
{
    std::ostringstream out;
    out.precision(15);
    out << value;
    return out.str();
}

bool IsControl(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
}

bool Before(const toml::source_position& a, const toml::source_position& b)
{
    return a.line != b.line ? a.line < b.line : a.column < b.column;
}

} // namespace

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
        if constexpr (toml::is_string<decltype(value)>) {
            out << '"' << value.get() << '"';
        } else if constexpr (toml::is_value<decltype(value)>) {
            out << value;
        }
    });
    constexpr std::size_t kLongest = 60;
    std::string text = out.str();
    std::replace_if(text.begin(), text.end(), IsControl, ' ');
    return text.size() <= kLongest ? text : text.substr(0, kLongest) + "...";
}

const toml::node* TableReader::Find(std::string_view key)
{
    if (std::find(asked_.begin(), asked_.end(), key) == asked_.end()) {
        asked_.push_back(key);
    }
    return table_.get(key);
}

void TableReader::Flag(std::string_view key, bool* value)
{
    const toml::node* node = Find(key);
    if (node == nullptr) {
        return;
    }
    if (!node->is_boolean()) {
        RefuseValue(key, *node, "true or false");
    }
    *value = node->as_boolean()->get();
}

void TableReader::Text(std::string_view key, std::size_t least, std::size_t most,
                       std::string* value)
{
    const toml::node* node = Find(key);
    if (node == nullptr) {
        return;
    }
    const auto* text = node->as_string();
    if (text == nullptr || text->get().size() < least || text->get().size() > most ||
        std::any_of(text->get().begin(), text->get().end(), IsControl)) {
        RefuseValue(key, *node,
                    "a text of " + std::to_string(least) + " to " + std::to_string(most) +
                        " characters without control characters");
    }
    *value = text->get();
}

void TableReader::Number(std::string_view key, double min, double max, double* value)
{
    const toml::node* node = Find(key);
    if (node == nullptr) {
        return;
    }
    const auto number = node->is_number() ? node->value<double>() : std::nullopt;
    if (!number || !(*number >= min && *number <= max)) { // NaN fails both
        RefuseValue(key, *node, "a number from " + Digits(min) + " to " + Digits(max));
    }
    *value = *number;
}

std::int64_t TableReader::CheckedWhole(std::string_view key, const toml::node& node,
                                       std::int64_t min, std::int64_t max) const
{
    const auto* number = node.as_integer();
    if (number == nullptr || number->get() < min || number->get() > max) {
        RefuseValue(key, node,
                    "an integer from " + std::to_string(min) + " to " + std::to_string(max));
    }
    return number->get();
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
        return Before(a.second->source().begin, b.second->source().begin);
    });
    return entries;
}

void TableReader::RefuseOthers() const
{
    const toml::key* other = nullptr;
    for (const auto& [key, value] : table_) {
        if (std::find(asked_.begin(), asked_.end(), key.str()) == asked_.end() &&
            (other == nullptr || Before(key.source().begin, other->source().begin))) {
            other = &key;
        }
    }
    if (other != nullptr) {
        const toml::value<std::string> name{std::string(other->str())};
        throw Refusal{other->source().begin, "unknown key " + Shown(name) + " in " +
                                                 std::string(title_) + "; expected " +
                                                 OneOf(asked_)};
    }
}

void TableReader::Require(std::string_view key, std::string_view expected)
{
    if (Find(key) == nullptr) {
        RefuseAt(table_, std::string(title_) + " has no " + std::string(key) + "; expected " +
                             std::string(expected));
    }
}

void TableReader::Forbid(std::string_view key, std::string_view why)
{
    if (const toml::node* node = Find(key)) {
        RefuseAt(*node, std::string(key) + " has no meaning here: " + std::string(why));
    }
}

void TableReader::RefuseValue(std::string_view key, const toml::node& node,
                              std::string_view expected) const
{
    RefuseAt(node, std::string(key) + " is " + Shown(node) + "; expected " + std::string(expected));
}

void TableReader::RefuseAt(const toml::node& node, std::string text)
{
    throw Refusal{node.source().begin, std::move(text)};
}

std::string TableReader::OneOf(const std::vector<std::string_view>& names)
{
    std::string list = names.size() > 1 ? "one of " : "";
    for (std::size_t i = 0; i < names.size(); ++i) {
        list += (i == 0 ? "" : ", ") + std::string(names[i]);
    }
    return list;
}

} // namespace sim
