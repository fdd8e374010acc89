/** Texts from cameras and files as a terminal may show them: nothing in them moves a cursor. */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace base
{

/** '?' in place of control characters and of bytes that are no UTF-8. */
std::string Printable(std::string_view text);

/** The text in quotes, with such bytes as "\x1b". "..." represents what follows the first `most`
 *  characters. */
std::string Quoted(std::string_view text, std::size_t most = 60);

} // namespace base
