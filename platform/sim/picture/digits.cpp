#include "sim/picture/digits.h"

#include <string_view>

namespace sim
{

namespace
{

using Drawing = std::array<std::string_view, kGlyphRows>;

// clang-format off
constexpr Drawing kDrawings[] = {
    {"..XXXX..", ".XXXXXX.", "XX....XX", "XX....XX",
     "XX....XX", "XX....XX", "XX....XX", "XX....XX",
     "XX....XX", "XX....XX", ".XXXXXX.", "..XXXX.."},
    {"...XX...", "..XXX...", ".XXXX...", "...XX...",
     "...XX...", "...XX...", "...XX...", "...XX...",
     "...XX...", "...XX...", ".XXXXXX.", ".XXXXXX."},
    {"..XXXX..", ".XXXXXX.", "XX....XX", "......XX",
     "......XX", ".....XX.", "....XX..", "...XX...",
     "..XX....", ".XX.....", "XXXXXXXX", "XXXXXXXX"},
    {"..XXXX..", ".XXXXXX.", "XX....XX", "......XX",
     "......XX", "...XXXX.", "...XXXX.", "......XX",
     "......XX", "XX....XX", ".XXXXXX.", "..XXXX.."},
    {".....XX.", "....XXX.", "...XXXX.", "..XX.XX.",
     ".XX..XX.", "XX...XX.", "XX...XX.", "XXXXXXXX",
     "XXXXXXXX", ".....XX.", ".....XX.", ".....XX."},
    {"XXXXXXXX", "XXXXXXXX", "XX......", "XX......",
     "XXXXXX..", "XXXXXXX.", "......XX", "......XX",
     "......XX", "XX....XX", ".XXXXXX.", "..XXXX.."},
    {"..XXXX..", ".XXXXXX.", "XX....XX", "XX......",
     "XX......", "XXXXXX..", "XXXXXXX.", "XX....XX",
     "XX....XX", "XX....XX", ".XXXXXX.", "..XXXX.."},
    {"XXXXXXXX", "XXXXXXXX", "......XX", ".....XX.",
     ".....XX.", "....XX..", "....XX..", "...XX...",
     "...XX...", "..XX....", "..XX....", "..XX...."},
    {"..XXXX..", ".XXXXXX.", "XX....XX", "XX....XX",
     "XX....XX", ".XXXXXX.", ".XXXXXX.", "XX....XX",
     "XX....XX", "XX....XX", ".XXXXXX.", "..XXXX.."},
    {"..XXXX..", ".XXXXXX.", "XX....XX", "XX....XX",
     "XX....XX", ".XXXXXXX", "..XXXXXX", "......XX",
     "......XX", "XX....XX", ".XXXXXX.", "..XXXX.."},
    {"...XX...", "..XXXX..", ".XXXXXX.", "XXXXXXXX",
     "...XX...", "...XX...", "...XX...", "...XX...",
     "...XX...", "...XX...", "...XX...", "...XX..."},
    {"........", "........", "........", "........",
     "........", "........", "........", "........",
     "........", "........", "........", "........"},
};
// clang-format on

constexpr std::size_t kGlyphs = std::size(kDrawings);

constexpr auto kBits = [] {
    std::array<std::array<std::uint8_t, kGlyphRows>, kGlyphs> bits{};
    for (std::size_t glyph = 0; glyph < kGlyphs; ++glyph) {
        for (std::size_t row = 0; row < kGlyphRows; ++row) {
            for (const char cell : kDrawings[glyph][row]) {
                bits[glyph][row] =
                    static_cast<std::uint8_t>(bits[glyph][row] << 1 | (cell == 'X' ? 1 : 0));
            }
        }
    }
    return bits;
}();

} // namespace

std::uint8_t GlyphRow(std::uint8_t glyph, std::uint32_t row)
{
    return kBits.at(glyph).at(row);
}

NumberText::NumberText(std::uint32_t number)
{
    constexpr std::uint32_t kLeastDigits = 6;
    std::uint32_t rest = number;
    do {
        ++length;
        rest /= 10;
    } while (rest != 0);
    if (length < kLeastDigits) {
        length = kLeastDigits;
    }
    for (std::uint32_t place = length; place-- > 0; number /= 10) {
        glyphs[place] = static_cast<std::uint8_t>(number % 10);
    }
}

} // namespace sim
