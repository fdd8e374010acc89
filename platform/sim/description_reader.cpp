#include "description_reader.h"

#include "../genapi/value_text.h"

#include <cmath>

namespace sim
{

namespace
{

std::string PlaceOf(std::string_view name, const toml::source_region& place)
{
    return std::string(name) + ":" + std::to_string(place.begin.line) + ":" +
           std::to_string(place.begin.column) + ": ";
}

std::string Bounds(std::int64_t low, std::int64_t high)
{
    return "an integer from " + std::to_string(low) + " to " + std::to_string(high);
}

} // namespace

DescriptionError::DescriptionError(std::string_view name, const toml::source_region& place,
                                   const std::string& what)
    : std::runtime_error(PlaceOf(name, place) + what)
{
}

const toml::node* TableReader::Fetch(const char* key)
{
    known_.insert(key);
    return table_.get(key);
}

void TableReader::Refuse(const toml::node& node, const std::string& what) const
{
    throw DescriptionError(file_, node.source(), what);
}

void TableReader::RefuseAt(const char* key, const std::string& what) const
{
    const toml::node* node = table_.get(key);
    Refuse(node == nullptr ? table_ : *node, what);
}

void TableReader::Done() const
{
    for (const auto& [key, node] : table_) {
        if (known_.contains(key.str())) {
            continue;
        }
        std::string known;
        for (const std::string_view name : known_) {
            known += (known.empty() ? "" : ", ") + std::string(name);
        }
        throw DescriptionError(file_, key.source(),
                               "unknown key " + std::string(key.str()) + "; known here: " + known);
    }
}

void TableReader::Text(const char* key, std::string* value)
{
    constexpr std::size_t kMost = 64; // what a camera's record holds

    const toml::node* node = Fetch(key);
    if (node == nullptr) {
        return;
    }
    const auto text = node->value_exact<std::string>();
    if (!text || text->size() > kMost) {
        Refuse(*node, std::string(key) + " must be a text of at most 64 bytes");
    }
    *value = *text;
}

void TableReader::Flag(const char* key, bool* value)
{
    const toml::node* node = Fetch(key);
    if (node == nullptr) {
        return;
    }
    const auto flag = node->value_exact<bool>();
    if (!flag) {
        Refuse(*node, std::string(key) + " must be true or false");
    }
    *value = *flag;
}

void TableReader::Integer(const char* key, std::int64_t low, std::int64_t high, std::int64_t* value)
{
    const toml::node* node = Fetch(key);
    if (node == nullptr) {
        return;
    }
    const auto number = node->value_exact<std::int64_t>();
    if (!number || *number < low || *number > high) {
        Refuse(*node, std::string(key) + " must be " + Bounds(low, high));
    }
    *value = *number;
}

void TableReader::Number(const char* key, double low, double high, double* value)
{
    const toml::node* node = Fetch(key);
    if (node == nullptr) {
        return;
    }
    const auto number = node->is_number() ? node->value<double>() : std::nullopt;
    if (!number || !(*number >= low && *number <= high)) { // NaN neither
        Refuse(*node, std::string(key) + " must be a number from " + genapi::ToText(low) + " to " +
                          genapi::ToText(high));
    }
    *value = *number;
}

void TableReader::Texts(const char* key,
                        const std::function<std::string(const std::string&)>& objection,
                        std::vector<std::string>* values)
{
    const toml::node* node = Fetch(key);
    if (node == nullptr) {
        return;
    }
    const toml::array* array = node->as_array();
    if (array == nullptr) {
        Refuse(*node, std::string(key) + " must be an array of texts");
    }
    for (const toml::node& element : *array) {
        const auto text = element.value_exact<std::string>();
        if (!text) {
            Refuse(element, std::string(key) + " must be an array of texts");
        }
        if (const std::string why = objection(*text); !why.empty()) {
            Refuse(element, std::string(key) + ": " + why);
        }
        values->push_back(*text);
    }
}

void TableReader::Integers(const char* key, std::int64_t low, std::int64_t high,
                           std::vector<std::uint32_t>* values)
{
    const toml::node* node = Fetch(key);
    if (node == nullptr) {
        return;
    }
    const toml::array* array = node->as_array();
    if (array == nullptr) {
        Refuse(*node, std::string(key) + " must be an array of integers");
    }
    for (const toml::node& element : *array) {
        const auto number = element.value_exact<std::int64_t>();
        if (!number || *number < low || *number > high) {
            Refuse(element, "an element of " + std::string(key) + " must be " + Bounds(low, high));
        }
        values->push_back(static_cast<std::uint32_t>(*number));
    }
}

void TableReader::Pairs(
    const char* key,
    const std::function<std::string(const std::string&, const std::string&)>& objection,
    std::vector<std::pair<std::string, std::string>>* values)
{
    const toml::node* node = Fetch(key);
    if (node == nullptr) {
        return;
    }
    const toml::table* pairs = node->as_table();
    if (pairs == nullptr) {
        Refuse(*node, std::string(key) + " must be a table");
    }
    for (const auto& [name, element] : *pairs) {
        std::string text;
        if (const auto words = element.value_exact<std::string>()) {
            text = *words;
        } else if (const auto flag = element.value_exact<bool>()) {
            text = genapi::ToText(*flag);
        } else if (const auto whole = element.value_exact<std::int64_t>()) {
            text = std::to_string(*whole);
        } else if (const auto number = element.value_exact<double>();
                   number && std::isfinite(*number)) {
            text = genapi::ToText(*number);
        } else {
            Refuse(element, std::string(key) + "." + std::string(name.str()) +
                                " must be a text, a finite number, true or false");
        }
        if (const std::string why = objection(std::string(name.str()), text); !why.empty()) {
            Refuse(element, std::string(key) + ": " + why);
        }
        values->emplace_back(name.str(), text);
    }
}

} // namespace sim
