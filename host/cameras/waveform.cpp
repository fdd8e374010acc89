#include "cameras/waveform.h"

#include <fmt/format.h>

#include <algorithm>

namespace kvgrab
{

namespace
{

constexpr int kColumns = 60;

/** `inside` in the columns whose middle is in `[startUs, endUs)`, `rest` in the others. */
std::string Row(double beginUs, double stepUs, double startUs, double endUs, char inside, char rest)
{
    std::string row;
    for (int column = 0; column < kColumns; ++column) {
        const double atUs = beginUs + (column + 0.5) * stepUs;
        row += atUs >= startUs && atUs < endUs ? inside : rest;
    }
    return row;
}

} // namespace

std::string DrawPulse(const LinePulse& pulse)
{
    const double lastUs = std::max({pulse.exposureEndUs, pulse.endUs, 1.0});
    const double marginUs = lastUs / 10;
    const double stepUs = (lastUs + 2 * marginUs) / kColumns;
    return fmt::format("Line{} of {}, frame {}{}:\n"
                       "  exposure  {}  0 to {:.0f} us\n"
                       "  level     {}  {} from {:.0f} to {:.0f} us\n",
                       pulse.line, pulse.camera, pulse.frame, pulse.inverted ? ", inverted" : "",
                       Row(-marginUs, stepUs, 0, pulse.exposureEndUs, '#', '.'),
                       pulse.exposureEndUs,
                       Row(-marginUs, stepUs, pulse.startUs, pulse.endUs,
                           pulse.inverted ? '_' : '^', pulse.inverted ? '^' : '_'),
                       pulse.inverted ? "low" : "high", pulse.startUs, pulse.endUs);
}

} // namespace kvgrab
