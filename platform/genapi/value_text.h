/** Converts values to text and back, in the form that journal, error texts and scripts share. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace genapi
{

std::string ToText(std::int64_t value);
/** Shortest text that reads back as the same value: "30", "0.1", "nan". */
std::string ToText(double value);
std::string ToText(bool value);

/** Decimal, or hexadecimal with 0x. The whole text must be the number. */
std::optional<std::int64_t> ParseInteger(std::string_view text);
std::optional<double> ParseFloat(std::string_view text);
/** Takes "true", "false", "1" and "0". */
std::optional<bool> ParseBoolean(std::string_view text);

} // namespace genapi
