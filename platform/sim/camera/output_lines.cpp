#include "sim/camera/output_lines.h"

#include "sim/camera/timing.h"

#include <algorithm>

namespace sim
{

/** The cell of a line in features whose selector is the line's name. */
static std::size_t CellOf(int line)
{
    return static_cast<std::size_t>(line - 1);
}

void OutputLines::Exposed(std::uint64_t frame, std::int64_t startNs, std::int64_t endNs,
                          double driftPpm)
{
    for (int line = kFirst; line <= kLast; ++line) {
        const std::size_t cell = CellOf(line);
        if (features_.source->SymbolicAt(cell) != "ExposureActive") {
            continue;
        }
        const auto clockNs = [driftPpm](std::int64_t us) {
            return ClockNs(static_cast<double>(us), driftPpm);
        };
        const std::int64_t durationUs = features_.duration->At(cell);
        StrobePulse pulse;
        pulse.frame = frame;
        pulse.exposureStartNs = startNs;
        pulse.exposureEndNs = endNs;
        pulse.startNs = startNs + clockNs(features_.delay->At(cell));
        pulse.endNs = pulse.startNs + (durationUs == 0 ? endNs - startNs : clockNs(durationUs));
        Pulses& pulses = pulses_[static_cast<std::size_t>(line - kFirst)];
        pulses.ring[pulses.count++ % kKept] = pulse;
    }
}

bool OutputLines::Describe(int line, LineWaveform* waveform) const
{
    if (line < kFirst || line > kLast) {
        return false;
    }
    const std::size_t cell = CellOf(line);
    waveform->source = features_.source->SymbolicAt(cell);
    waveform->inverted = features_.inverter->At(cell);
    waveform->delayUs = features_.delay->At(cell);
    waveform->durationUs = features_.duration->At(cell);
    waveform->pulses.clear();
    const Pulses& pulses = pulses_[static_cast<std::size_t>(line - kFirst)];
    for (std::uint64_t i = pulses.count - std::min<std::uint64_t>(pulses.count, kKept);
         i < pulses.count; ++i) {
        waveform->pulses.push_back(pulses.ring[i % kKept]);
    }
    return true;
}

} // namespace sim
