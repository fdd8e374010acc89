/** The operators and functions of formulas. */
#pragma once

#include <algorithm>
#include <cmath>
#include <string_view>

namespace net::words
{

/** What an operator does. */
enum class Kind {
    Or,
    And,
    BitOr,
    BitXor,
    BitAnd,
    Equal,
    NotEqual,
    LessEqual,
    GreaterEqual,
    Less,
    Greater,
    ShiftLeft,
    ShiftRight,
    Plus,
    Minus,
    Power,
    Times,
    Divide,
    Remainder
};

struct Operator {
    std::string_view text;
    Kind kind;
    int rank; ///< the higher, the closer it binds
};

/** One that begins another one comes behind it. */
inline constexpr Operator kOperators[] = {
    {"||", Kind::Or, 0},        {"&&", Kind::And, 1},          {"|", Kind::BitOr, 2},
    {"^", Kind::BitXor, 3},     {"&", Kind::BitAnd, 4},        {"=", Kind::Equal, 5},
    {"<>", Kind::NotEqual, 5},  {"<<", Kind::ShiftLeft, 7},    {">>", Kind::ShiftRight, 7},
    {"<=", Kind::LessEqual, 6}, {">=", Kind::GreaterEqual, 6}, {"<", Kind::Less, 6},
    {">", Kind::Greater, 6},    {"+", Kind::Plus, 8},          {"-", Kind::Minus, 8},
    {"**", Kind::Power, 10},    {"*", Kind::Times, 9},         {"/", Kind::Divide, 9},
    {"%", Kind::Remainder, 9},
};

struct Function {
    std::string_view name;
    double (*compute)(double);
};

inline constexpr Function kFunctions[] = {
    {"SGN", [](double x) { return x > 0   ? 1.0
                                  : x < 0 ? -1.0
                                          : 0.0; }},
    {"NEG", [](double x) { return -x; }},
    {"ABS", [](double x) { return std::fabs(x); }},
    {"SQRT", [](double x) { return std::sqrt(x); }},
    {"TRUNC", [](double x) { return std::trunc(x); }},
    {"FLOOR", [](double x) { return std::floor(x); }},
    {"CEIL", [](double x) { return std::ceil(x); }},
    {"SIN", [](double x) { return std::sin(x); }},
    {"COS", [](double x) { return std::cos(x); }},
    {"TAN", [](double x) { return std::tan(x); }},
    {"ASIN", [](double x) { return std::asin(x); }},
    {"ACOS", [](double x) { return std::acos(x); }},
    {"ATAN", [](double x) { return std::atan(x); }},
    {"EXP", [](double x) { return std::exp(x); }},
    {"LN", [](double x) { return std::log(x); }},
    {"LG", [](double x) { return std::log10(x); }},
};

constexpr bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

constexpr bool BeginsName(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

inline bool IsEqual(std::string_view name, std::string_view upperCase)
{
    return std::equal(name.begin(), name.end(), upperCase.begin(), upperCase.end(),
                      [](char a, char b) {
                          return (a >= 'a' && a <= 'z' ? static_cast<char>(a - 'a' + 'A') : a) == b;
                      });
}

} // namespace net::words
