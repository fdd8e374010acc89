/** Values of features as texts. Pure. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvgrab
{

/** Decimal or, after 0x, hexadecimal, with an optional sign; nothing if it isn't all of that or
 *  doesn't fit. */
std::optional<std::int64_t> ParseInteger(std::string_view text);

/** A finite number, decimal or as ParseInteger reads it. */
std::optional<double> ParseNumber(std::string_view text);

/** true, on, 1 or false, off, 0. */
std::optional<bool> ParseBoolean(std::string_view text);

/** The shortest text that is read as the same number. */
std::string NumberText(double value);

/** The number as TOML has it, so that it is read as a float again. */
std::string TomlNumber(double value);

/** The text in quotes, as TOML has it; nothing if it isn't UTF-8. */
std::optional<std::string> TomlString(std::string_view text);

/** Those of `names` that a user may have meant, the nearest first, three at most. */
std::vector<std::string> NearNames(std::string_view name, const std::vector<std::string>& names);

} // namespace kvgrab
