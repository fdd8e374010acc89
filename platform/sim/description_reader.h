/** Reads one TOML table key by key: each key is fetched once with what it must be, and what is left
 *  over is refused. The first refusal is an exception with its place in the file. */
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <toml++/toml.h>
#include <utility>
#include <vector>

namespace sim
{

/** A refusal: "name:line:column: what was expected". */
class DescriptionError : public std::runtime_error
{
public:
    DescriptionError(std::string_view name, const toml::source_region& place,
                     const std::string& what);
};

template <class Value> using NamedValues = std::initializer_list<std::pair<const char*, Value>>;

class TableReader
{
public:
    TableReader(std::string_view file, const toml::table& table) : file_(file), table_(table) {}

    // Each leaves the value alone when the key is not there.
    void Text(const char* key, std::string* value);
    void Flag(const char* key, bool* value);
    void Integer(const char* key, std::int64_t low, std::int64_t high, std::int64_t* value);
    template <class T> void Unsigned(const char* key, std::int64_t low, std::int64_t high, T* value)
    {
        auto wide = static_cast<std::int64_t>(*value);
        Integer(key, low, high, &wide);
        *value = static_cast<T>(wide);
    }
    void Number(const char* key, double low, double high, double* value);
    /** `objection` tells what is wrong with an element; empty: nothing. */
    void Texts(const char* key, const std::function<std::string(const std::string&)>& objection,
               std::vector<std::string>* values);
    void Integers(const char* key, std::int64_t low, std::int64_t high,
                  std::vector<std::uint32_t>* values);
    /** A table of texts, numbers or truth values, each as text. */
    void Pairs(const char* key,
               const std::function<std::string(const std::string&, const std::string&)>& objection,
               std::vector<std::pair<std::string, std::string>>* values);

    template <class Value> void OneOf(const char* key, NamedValues<Value> names, Value* value)
    {
        const toml::node* node = Fetch(key);
        if (node == nullptr) {
            return;
        }
        std::string known;
        for (const auto& [name, meaning] : names) {
            if (node->value_exact<std::string_view>() == std::string_view(name)) {
                *value = meaning;
                return;
            }
            known += (known.empty() ? "" : ", ") + std::string(name);
        }
        Refuse(*node, std::string(key) + " must be one of " + known);
    }

    bool Has(const char* key) const { return table_.contains(key); }
    /** Refuses the table as a whole, at the place of `key` where that is there. */
    [[noreturn]] void RefuseAt(const char* key, const std::string& what) const;
    /** Refuses keys that nobody asked for. */
    void Done() const;

private:
    const toml::node* Fetch(const char* key);
    [[noreturn]] void Refuse(const toml::node& node, const std::string& what) const;

    std::string_view file_;
    const toml::table& table_;
    std::set<std::string_view> known_;
};

} // namespace sim
