/** Typed reading of TOML tables, with errors that name the place and what was expected.
 *
 *  Every read marks its key as known; Finish() refuses the others. Whatever is refused is thrown as
 *  a TextError. */
#pragma once

#include "base/names.h"
#include "base/text_error.h"

#include <toml++/toml.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace base
{

/** What the readers of one text share. */
struct TomlContext {
    std::string name; ///< of the text, usually its path
    std::vector<std::string> warnings = {};
};

toml::table ParseToml(std::string_view text, const TomlContext& context);

/** Bounds of a number, both included. */
struct NumberRule {
    double min;
    double max;
    std::string_view expected = {}; ///< "frames per second from 1 to 9"; empty: "a number from ..."
};

/** Reads one table. The value of an absent key is nothing. `expected` completes the message "key is
 *  value; expected ...". The context and the table outlive the reader. */
class TableReader
{
public:
    /** `path` is the table's own name, "" for the whole text. */
    TableReader(TomlContext& context, const toml::table& table, std::string path = {});

    bool Has(std::string_view key) const { return table_->contains(key); }
    const toml::node* Find(std::string_view key);

    std::optional<std::string> Text(std::string_view key, std::string_view expected);
    std::optional<bool> Flag(std::string_view key);
    /** Without `expected`: "an integer from min to max". */
    std::optional<std::int64_t> Integer(std::string_view key, std::int64_t min, std::int64_t max,
                                        std::string_view expected = {});
    std::optional<double> Number(std::string_view key, const NumberRule& rule);
    template <class Value> std::optional<Value> OneOf(std::string_view key, Names<Value> choices)
    {
        const toml::node* node = Find(key);
        return node == nullptr ? std::nullopt : std::optional(Chosen<Value>(key, *node, choices));
    }
    /** The choice that a node of this table, found under `key`, names. */
    template <class Value>
    Value Chosen(std::string_view key, const toml::node& node, Names<Value> choices) const
    {
        if (const auto* text = node.as_string()) {
            if (const std::optional<Value> value = ValueIn<Value>(choices, text->get())) {
                return *value;
            }
        }
        RefuseValue(key, node, OneOfNames(NameList<Value>(choices)));
    }
    std::optional<std::vector<std::int64_t>> Integers(std::string_view key, std::int64_t min,
                                                      std::int64_t max, std::string_view expected);
    /** The nodes of an array; none without the key. */
    std::vector<const toml::node*> Array(std::string_view key, std::string_view expected);
    /** The entries of a table in the text's order; none without the key. */
    std::vector<std::pair<std::string, const toml::node*>> Entries(std::string_view key,
                                                                   std::string_view expected);
    std::optional<TableReader> Table(std::string_view key);
    /** The tables that are headed [[key]]; none without the key. */
    std::vector<TableReader> Tables(std::string_view key);

    /** `key` has to be there. */
    void Require(std::string_view key, std::string_view expected);
    /** `key` makes no sense without `needed`. */
    void Needs(std::string_view key, std::string_view needed, std::string_view why);
    /** `key` is not allowed here. */
    void Forbid(std::string_view key, std::string_view why);
    /** Refuses the key's value, or the table when the key is absent; `text` follows its name. */
    [[noreturn]] void Refuse(std::string_view key, std::string_view text) const;
    [[noreturn]] void RefuseValue(std::string_view key, const toml::node& node,
                                  std::string_view expected) const;
    [[noreturn]] void RefuseAt(const toml::node& node, std::string text) const;
    void Warn(std::string_view key, std::string_view text);

    /** Refuses a key that was never asked for. */
    void Finish() const;

    /** "one of "a", "b"" */
    static std::string OneOfNames(const std::vector<std::string_view>& names);

private:
    std::string FullName(std::string_view key) const;
    TextError ErrorAt(const toml::source_region& where, std::string text) const;
    TextError ErrorOf(std::string_view key, std::string_view text) const;

    TomlContext* context_;
    const toml::table* table_;
    std::string path_;
    std::vector<std::string> known_;
};

/** Stores a value in a field, if there is one. */
template <class Value, class Field> void Put(std::optional<Value> value, Field* field)
{
    if (value) {
        *field = static_cast<Field>(*std::move(value));
    }
}

} // namespace base
