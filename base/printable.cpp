#include "base/printable.h"

#include <fmt/format.h>

namespace base
{

namespace
{

/** Characters that reorder the text around them (marks, embeddings, overrides and isolates of the
 *  writing direction), and the two that end a line. */
bool ChangesItsSurroundings(unsigned code)
{
    return code == 0x061C || code == 0x200E || code == 0x200F ||
           (code >= 0x2028 && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

/** Bytes of the character that the text begins with; 0: a control character, a character that
 *  changes its surroundings, or no UTF-8. */
std::size_t PrintableBytes(std::string_view text)
{
    const auto byte = [text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    if (byte(0) < 0x80) {
        return byte(0) >= ' ' && byte(0) != 0x7F ? 1 : 0;
    }
    // Smaller code points are control characters, or are written with fewer bytes.
    constexpr unsigned kLeast[] = {0, 0, 0xA0, 0x800, 0x10000};
    const std::size_t size = byte(0) >= 0xF0 ? 4 : byte(0) >= 0xE0 ? 3 : byte(0) >= 0xC0 ? 2 : 0;
    if (size == 0 || size > text.size()) {
        return 0;
    }
    unsigned code = byte(0) & (0xFFU >> (size + 1));
    for (std::size_t at = 1; at < size; ++at) {
        if ((byte(at) & 0xC0) != 0x80) {
            return 0;
        }
        code = code << 6 | (byte(at) & 0x3FU);
    }
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    const bool valid = byte(0) < 0xF8 && code >= kLeast[size] && code <= 0x10FFFF && !surrogate;
    return valid && !ChangesItsSurroundings(code) ? size : 0;
}

} // namespace

std::string Printable(std::string_view text, std::string_view allowed)
{
    std::string shown;
    shown.reserve(text.size());
    while (!text.empty()) {
        const bool harmless = allowed.find(text.front()) != std::string_view::npos;
        const std::size_t bytes = harmless ? 1 : PrintableBytes(text);
        shown += bytes == 0 ? "?" : text.substr(0, bytes);
        text.remove_prefix(bytes == 0 ? 1 : bytes);
    }
    return shown;
}

std::string Quoted(std::string_view text, std::size_t most)
{
    std::string shown;
    for (; !text.empty() && most > 0; --most) {
        const std::size_t bytes = PrintableBytes(text);
        shown += bytes == 0 ? fmt::format("\\x{:02x}", static_cast<unsigned char>(text.front()))
                            : text.substr(0, bytes);
        text.remove_prefix(bytes == 0 ? 1 : bytes);
    }
    return fmt::format("\"{}{}\"", shown, text.empty() ? "" : "...");
}

} // namespace base
