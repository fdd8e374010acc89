/** The drawing of an output line's pulse next to the exposure that it belongs to. Pure. */
#pragma once

#include <cstdint>
#include <string>

namespace kvgrab
{

/** What a line did with one frame; times in microseconds from the beginning of the exposure. */
struct LinePulse {
    std::string camera; ///< serial number
    int line = 0;
    bool inverted = false; ///< high at rest, low in the pulse
    std::uint64_t frame = 0;
    double exposureEndUs = 0;
    double startUs = 0;
    double endUs = 0;
};

/** Three lines of text: what it is, the exposure and the level over the same time. */
std::string DrawPulse(const LinePulse& pulse);

} // namespace kvgrab
