#include "genapi/value_text.h"

#include <array>
#include <charconv>
#include <system_error>

namespace genapi
{

namespace
{

template <class Number> std::string Print(Number value)
{
    std::array<char, 64> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), value);
    return {text.data(), result.ptr};
}

template <class Number, class... Base>
std::optional<Number> Parse(std::string_view text, Base... base)
{
    Number value{};
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value, base...);
    if (text.empty() || result.ec != std::errc{} || result.ptr != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

} // namespace

std::string ToText(std::int64_t value)
{
    return Print(value);
}

std::string ToText(double value)
{
    return Print(value);
}

std::string ToText(bool value)
{
    return value ? "true" : "false";
}

std::optional<std::int64_t> ParseInteger(std::string_view text)
{
    if (text.starts_with("0x") || text.starts_with("0X")) {
        const auto value = Parse<std::uint64_t>(text.substr(2), 16);
        return value ? std::optional(static_cast<std::int64_t>(*value)) : std::nullopt;
    }
    return Parse<std::int64_t>(text, 10);
}

std::optional<double> ParseFloat(std::string_view text)
{
    return Parse<double>(text);
}

std::optional<bool> ParseBoolean(std::string_view text)
{
    if (text == "true" || text == "1") {
        return true;
    }
    return text == "false" || text == "0" ? std::optional(false) : std::nullopt;
}

} // namespace genapi
