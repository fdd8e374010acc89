/** Draws the errors of time stamps over time. */
#pragma once

#include "benchmarks/stamps/play.h"

#include <string>
#include <vector>

namespace stamps
{

struct Panel {
    std::string title;
    const Played* played;
};

/** Makes an SVG picture with the panels one below the other, each with a scale of its own. Where
 *  many frames share one column of the picture, it shows the range of their errors. */
std::string Draw(const std::vector<Panel>& panels);

} // namespace stamps
