/** Lists of texts in the form in which a table's row holds them. */
#pragma once

#include "tests/support/rig.h"

#include <string>

namespace rig
{

/** One line, with a blank behind each text. */
inline std::string Joined(const Texts& texts)
{
    std::string line;
    for (const std::string& text : texts) {
        line += text + " ";
    }
    return line;
}

/** What came into the journal since the last call, on one line; the journal starts afresh. */
inline std::string Take(std::string_view kind)
{
    const std::string line = Joined(Rig::Of(kind));
    Rig::Clear();
    return line;
}

} // namespace rig
