/** Copies texts into fields of fixed size. */
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace sim
{

/** Cuts off what does not fit and fills the rest with zeros; the result is always terminated. */
template <std::size_t Size> void CopyText(char (&to)[Size], std::string_view text)
{
    const std::size_t length = std::min(text.size(), Size - 1);
    std::fill(std::copy_n(text.begin(), length, to), to + Size, '\0');
}

} // namespace sim
