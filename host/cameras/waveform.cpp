#include "cameras/waveform.h"

#include <algorithm>
#include <cstdio>

namespace kvgrab
{

namespace
{

constexpr int kColumns = 60;

/** '#' where `[startUs, endUs)` has the middle of a column, `rest` elsewhere. */
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
    char text[512];
    std::snprintf(text, sizeof text,
                  "Line%d of %s, frame %llu%s:\n"
                  "  exposure  %s  0 to %.0f us\n"
                  "  level     %s  %s from %.0f to %.0f us\n",
                  pulse.line, pulse.camera.c_str(), static_cast<unsigned long long>(pulse.frame),
                  pulse.inverted ? ", inverted" : "",
                  Row(-marginUs, stepUs, 0, pulse.exposureEndUs, '#', '.').c_str(),
                  pulse.exposureEndUs,
                  Row(-marginUs, stepUs, pulse.startUs, pulse.endUs, pulse.inverted ? '_' : '^',
                      pulse.inverted ? '^' : '_')
                      .c_str(),
                  pulse.inverted ? "low" : "high", pulse.startUs, pulse.endUs);
    return text;
}

} // namespace kvgrab
