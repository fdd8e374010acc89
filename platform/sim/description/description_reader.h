/** Reads one table of a description file, key by key, and refuses what it doesn't know. */
#pragma once

#include "base/names.h"

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <toml++/toml.h>
#include <utility>
#include <vector>

namespace sim
{

/** What is wrong with a description and where; thrown only within the reading of one. */
struct Refusal {
    toml::source_position where;
    std::string text;
};

/** A value as a message shows it: short and on one line. */
std::string Shown(const toml::node& node);

/** A key that is absent leaves `*value` as it is. */
class TableReader
{
public:
    /** `title` names the table in messages. Both must outlive the reader. */
    TableReader(const toml::table& table, std::string_view title) : table_(table), title_(title) {}

    const toml::node* Find(std::string_view key);
    void Flag(std::string_view key, bool* value);
    /** `least` to `most` bytes without control characters. */
    void Text(std::string_view key, std::size_t least, std::size_t most, std::string* value);
    void Number(std::string_view key, double min, double max, double* value);
    template <class Integer>
    void Whole(std::string_view key, std::int64_t min, std::int64_t max, Integer* value)
    {
        if (const toml::node* node = Find(key)) {
            *value = static_cast<Integer>(CheckedWhole(key, *node, min, max));
        }
    }
    template <class Value>
    void Choice(std::string_view key, base::Names<Value> choices, Value* value)
    {
        if (const toml::node* node = Find(key)) {
            *value = Chosen(key, *node, choices);
        }
    }
    template <class Value>
    Value Chosen(std::string_view key, const toml::node& node, base::Names<Value> choices) const
    {
        std::vector<std::string_view> names;
        for (const auto& [name, value] : choices) {
            if (const auto* text = node.as_string(); text != nullptr && text->get() == name) {
                return value;
            }
            names.push_back(name);
        }
        RefuseValue(key, node, OneOf(names));
    }
    /** The nodes of an array; none when the key is absent. */
    std::vector<const toml::node*> Array(std::string_view key, std::string_view expected);
    /** The entries of a table in the order of the file; none when the key is absent. */
    std::vector<std::pair<std::string, const toml::node*>> Entries(std::string_view key,
                                                                   std::string_view expected);

    /** Refuses keys that nobody asked for. */
    void RefuseOthers() const;
    void Require(std::string_view key, std::string_view expected);
    /** `key` must not stand here. */
    void Forbid(std::string_view key, std::string_view why);
    [[noreturn]] void RefuseValue(std::string_view key, const toml::node& node,
                                  std::string_view expected) const;
    [[noreturn]] static void RefuseAt(const toml::node& node, std::string text);

    static std::string OneOf(const std::vector<std::string_view>& names);

private:
    std::int64_t CheckedWhole(std::string_view key, const toml::node& node, std::int64_t min,
                              std::int64_t max) const;

    const toml::table& table_;
    std::string_view title_;
    std::vector<std::string_view> asked_;
};

} // namespace sim
