/** What is wrong with a text that somebody wrote. */
#pragma once

#include <string>

namespace base
{

/** Thrown by readers of texts. Lines and columns count from 1; line 0 represents the whole text. */
struct TextError {
    std::string name; ///< of the text, usually its path
    unsigned line = 0;
    unsigned column = 0;
    std::string text;

    std::string Message() const; ///< "name:line:column: text"
};

} // namespace base
