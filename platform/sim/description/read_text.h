/** Texts in descriptions: what a camera says of itself, names, paths. */
#pragma once

#include "base/toml_reader.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace sim
{

/** `least` to `most` bytes without control characters. Throws TextError. */
std::optional<std::string> ReadText(base::TableReader& reader, std::string_view key,
                                    std::size_t least, std::size_t most);

} // namespace sim
