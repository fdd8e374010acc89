/** Typed reading of one TOML table, with errors that name the place and what was expected.
 *
 *  Every read marks its key as known; Finish() refuses the rest. Throws ConfigError, which
 *  ParseConfig turns into its result. */
#pragma once

#include "config/config.h"

#include <toml++/toml.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kvgrab
{

/** What the readers of one text share. */
struct ReadContext {
    std::string name;
    const FileReader& read;
    std::vector<std::string> warnings;
};

/** One name that a key accepts, and the number that it stands for. */
struct Choice {
    std::string_view name;
    int value;
};

/** Bounds of a number and how a message calls them. */
struct NumberRule {
    double min;
    double max;
    std::string_view expected; ///< "a number of microseconds above 0"
    bool minIncluded = true;
};

class TableReader
{
public:
    /** `path` is the table's own name, "" for the whole text. */
    TableReader(ReadContext& context, const toml::table& table, std::string path);

    bool Has(std::string_view key) const { return table_.contains(key); }

    std::optional<std::string> Text(std::string_view key, std::string_view expected);
    std::optional<bool> Flag(std::string_view key);
    std::optional<std::int64_t> Integer(std::string_view key, std::int64_t min, std::int64_t max,
                                        std::string_view expected);
    std::optional<double> Number(std::string_view key, const NumberRule& rule);
    std::optional<int> OneOf(std::string_view key, std::span<const Choice> choices);
    std::optional<std::vector<std::int64_t>> Integers(std::string_view key, std::int64_t min,
                                                      std::int64_t max, std::string_view expected);

    /** A file that the key names. */
    struct NamedFile {
        std::string path;
        std::string text;
    };
    std::optional<NamedFile> File(std::string_view key, std::string_view expected);

    /** The table under a key, or null. */
    const toml::table* Table(std::string_view key);
    /** The tables of an array of tables. */
    std::vector<const toml::table*> Tables(std::string_view key);

    /** `key` makes no sense without `needed`. */
    void Needs(std::string_view key, std::string_view needed, std::string_view why);
    [[noreturn]] void Refuse(std::string_view key, const std::string& text) const;
    void Warn(std::string_view key, const std::string& text) const;

    /** Refuses a key that was never asked for. */
    void Finish() const;

private:
    const toml::node* Find(std::string_view key);
    [[noreturn]] void RefuseAt(const toml::source_region& where, const std::string& text) const;
    [[noreturn]] void RefuseValue(std::string_view key, const toml::node& node,
                                  std::string_view expected) const;
    std::string FullName(std::string_view key) const;

    ReadContext& context_;
    const toml::table& table_;
    std::string path_;
    std::vector<std::string> known_;
};

} // namespace kvgrab
