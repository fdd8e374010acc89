/** Look-up tables from text and CSV files. Pure: no file is touched here. */
#pragma once

#include "config/config.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <variant>
#include <vector>

namespace kvgrab
{

/** How many entries a table may have; the driver takes 256 of them, evenly spaced. */
inline constexpr std::size_t kLutSmallest = 256;
inline constexpr std::size_t kLutLargest = 65535;

/** The entries of a table in a text; `name` only appears in messages, `bits` (1 to 16) bounds the
 *  entries.
 *
 *  Numbers are decimal or 0x hexadecimal, whole and without a sign. On a line they are separated by
 *  blanks and tabs, or by one kind of commas and semicolons throughout the text, of which one may
 *  stand at a line's end. "#" begins a comment; lines without content are skipped. The first line
 *  is a header when none of its words begins with a digit. Two shapes:
 *  - a list: every line has as many entries as the first, the last may have fewer. Below a header
 *    it is one entry a line;
 *  - index and value: two numbers on every line, the first of which count 0, 1, 2, ... It takes a
 *    header of two words, or no header and two numbers on the first line.
 *
 *  The error is the first thing that doesn't fit. */
std::variant<std::vector<std::uint16_t>, ConfigError>
ParseLutFile(std::string_view text, std::string_view name, unsigned bits);

} // namespace kvgrab
