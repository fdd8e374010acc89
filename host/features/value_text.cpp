#include "features/value_text.h"

#include "base/printable.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fmt/format.h>
#include <numeric>
#include <utility>

namespace kvgrab
{

namespace
{

/** `text` without control characters is UTF-8 if nothing of it has to be replaced. */
bool IsUtf8(std::string_view text)
{
    std::string visible;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        visible += byte < ' ' || byte == 0x7F ? ' ' : c;
    }
    return base::Printable(visible) == visible;
}

char Lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/** How many characters have to be inserted, removed or replaced; upper and lower case are equal. */
std::size_t EditDistance(std::string_view a, std::string_view b)
{
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (Lower(a[i]) == Lower(b[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

} // namespace

std::optional<std::int64_t> ParseInteger(std::string_view text)
{
    const bool negative = text.starts_with('-');
    text.remove_prefix(negative || text.starts_with('+') ? 1 : 0);
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(hexadecimal ? 2 : 0);
    std::uint64_t magnitude = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, magnitude, hexadecimal ? 16 : 10);
    constexpr std::uint64_t kMost = INT64_MAX;
    if (result.ec != std::errc() || result.ptr != end || magnitude > kMost + (negative ? 1 : 0)) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
}

std::optional<double> ParseNumber(std::string_view text)
{
    if (const auto integer = ParseInteger(text)) {
        return static_cast<double>(*integer);
    }
    text.remove_prefix(text.starts_with('+') && !text.starts_with("+-") ? 1 : 0);
    double value = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

std::optional<bool> ParseBoolean(std::string_view text)
{
    if (text == "true" || text == "on" || text == "1") {
        return true;
    }
    if (text == "false" || text == "off" || text == "0") {
        return false;
    }
    return std::nullopt;
}

std::string NumberText(double value)
{
    return fmt::format("{}", value);
}

std::string TomlNumber(double value)
{
    const std::string text = NumberText(value);
    const bool looksWhole = text.find_first_not_of("-0123456789") == std::string::npos;
    return fmt::format("{}{}", text, looksWhole ? ".0" : "");
}

std::optional<std::string> TomlString(std::string_view text)
{
    if (!IsUtf8(text)) {
        return std::nullopt;
    }
    std::string escaped;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            escaped += '\\';
            escaped += c;
        } else if (byte < ' ' || byte == 0x7F) {
            escaped += fmt::format("\\u{:04x}", byte);
        } else {
            escaped += c;
        }
    }
    return fmt::format("\"{}\"", escaped);
}

std::vector<std::string> NearNames(std::string_view name, const std::vector<std::string>& names)
{
    constexpr std::size_t kMost = 3;
    constexpr std::size_t kLongest = 128; // no user's slip is longer
    std::vector<std::pair<std::size_t, std::string>> near;
    for (const std::string& candidate : names) {
        if (name.size() > kLongest || candidate.size() > kLongest) {
            continue;
        }
        const std::size_t distance = EditDistance(name, candidate);
        const std::size_t shorter = std::min(name.size(), candidate.size());
        if (distance <= std::max<std::size_t>(2, shorter / 3) && distance < shorter) {
            near.emplace_back(distance, candidate);
        }
    }
    std::stable_sort(near.begin(), near.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> nearest;
    for (std::size_t i = 0; i < std::min(near.size(), kMost); ++i) {
        nearest.push_back(near[i].second);
    }
    return nearest;
}

} // namespace kvgrab
