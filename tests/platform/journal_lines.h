/** The journal as text. */
#pragma once

#include "sim_control.h"

#include <string>
#include <vector>

/** "kind text" of each entry, in order. */
inline std::vector<std::string> JournalLines()
{
    std::vector<std::string> lines;
    for (const sim::JournalEntry& entry : sim::Journal()) {
        lines.push_back(entry.kind + " " + entry.text);
    }
    return lines;
}
