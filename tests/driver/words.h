/** Short texts for what a test compares. */
#pragma once

#include "tests/support/rig.h"

#include <sstream>
#include <string>
#include <utility>

namespace rig
{

/** The entries of one kind on one line, a blank behind each; the journal starts afresh. */
inline std::string Take(std::string_view kind)
{
    std::string line;
    for (const std::string& text : Rig::Of(kind)) {
        line += text + " ";
    }
    Rig::Clear();
    return line;
}

/** Values with blanks between. */
template <class... Values> std::string Words(const Values&... values)
{
    std::ostringstream text;
    const char* blank = "";
    ((text << std::exchange(blank, " ") << values), ...);
    return text.str();
}

} // namespace rig
