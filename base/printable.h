/** Texts from cameras and files as a terminal may show them: nothing in them moves a cursor or
 *  changes the order in which the characters around it are read. */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace base
{

/** '?' in place of control characters other than the `allowed` ones, of characters that change the
 *  writing direction or end a line, and of bytes that are no UTF-8. */
std::string Printable(std::string_view text, std::string_view allowed = {});

/** The text in quotes, with such bytes as "\x1b". "..." represents what follows the first `most`
 *  characters. */
std::string Quoted(std::string_view text, std::size_t most = 60);

} // namespace base
