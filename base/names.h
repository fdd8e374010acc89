/** Tables of names and the values that they stand for. */
#pragma once

#include <optional>
#include <span>
#include <string_view>

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

/** The value that a name stands for; none if no row has it. */
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

} // namespace base
