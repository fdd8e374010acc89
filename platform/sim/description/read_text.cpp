#include "sim/description/read_text.h"

#include <fmt/format.h>

#include <algorithm>

namespace sim
{

std::optional<std::string> ReadText(base::TableReader& reader, std::string_view key,
                                    std::size_t least, std::size_t most)
{
    const std::string expected =
        fmt::format("a text of {} to {} characters without control characters", least, most);
    const auto isControl = [](unsigned char c) { return c < ' ' || c == 0x7F; };
    auto text = reader.Text(key, expected);
    if (text && (text->size() < least || text->size() > most ||
                 std::any_of(text->begin(), text->end(), isControl))) {
        reader.RefuseValue(key, *reader.Find(key), expected);
    }
    return text;
}

} // namespace sim
