/** Short texts for the values that tests compare. */
#pragma once

#include <sstream>
#include <string>
#include <utility>

namespace rig
{

/** Values with blanks between. */
template <class... Values> std::string Words(const Values&... values)
{
    std::ostringstream text;
    const char* blank = "";
    ((text << std::exchange(blank, " ") << values), ...);
    return text.str();
}

} // namespace rig
