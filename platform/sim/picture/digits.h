/** A bitmap font of the digits and an arrow, to paint numbers into a picture. Pure. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace sim
{

constexpr std::uint32_t kGlyphWidth = 8; ///< cells; two blank ones follow each glyph
constexpr std::uint32_t kGlyphPitch = 10;
constexpr std::uint32_t kGlyphRows = 12;

constexpr std::uint8_t kArrowGlyph = 10; ///< points up; the digits are 0 to 9
constexpr std::uint8_t kBlankGlyph = 11;

/** Cells of one row of a glyph, the leftmost in bit 7. */
std::uint8_t GlyphRow(std::uint8_t glyph, std::uint32_t row);

/** A number as glyphs: at least six digits with leading zeros, so that its place stays the same. */
struct NumberText {
    std::array<std::uint8_t, 10> glyphs{};
    std::uint32_t length = 0;

    explicit NumberText(std::uint32_t number);
};

} // namespace sim
