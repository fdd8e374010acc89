/** Tables of names and the values that they represent. */
#pragma once

#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace base
{

template <class Value> struct Named {
    std::string_view name;
    Value value;
};

template <class Value> using Names = std::span<const Named<Value>>;

/** The name of a value; empty if no row has it. */
template <class Value> constexpr std::string_view NameIn(Names<Value> rows, const Value& value)
{
    for (const Named<Value>& row : rows) {
        if (row.value == value) {
            return row.name;
        }
    }
    return {};
}

/** The value that a name represents; none if no row has it. */
template <class Value>
constexpr std::optional<Value> ValueIn(Names<Value> rows, std::string_view name)
{
    for (const Named<Value>& row : rows) {
        if (row.name == name) {
            return row.value;
        }
    }
    return std::nullopt;
}

/** All names, in the table's order. */
template <class Value> std::vector<std::string_view> NameList(Names<Value> rows)
{
    std::vector<std::string_view> names;
    for (const Named<Value>& row : rows) {
        names.push_back(row.name);
    }
    return names;
}

} // namespace base
