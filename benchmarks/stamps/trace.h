/** A trace of frames with the true time of each, recorded from a camera or generated. */
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace stamps
{

struct TraceFrame {
    double arrivalUs = 0;    ///< end of the wait for it, on the host's clock, since the epoch
    std::uint64_t ticks = 0; ///< camera time stamp
    double truthUs = 0;      ///< start of its exposure, on the host's clock
};

struct Trace {
    double tickFrequency = 1e9; ///< Hz
    double fps = 100;           ///< as reported by the camera
    double exposureUs = 1000;
    double loopStartUs = 0;   ///< start of the acquisition, on the host's clock
    bool startIsKnown = true; ///< false: assumed one period before the first arrival
    bool hasTruth = true;
    std::vector<TraceFrame> frames;
};

/** How the usual delays of arrivals are distributed. */
enum class Delays { Exponential, Lognormal, Pareto };

/** How to generate a trace. */
struct Recipe {
    double seconds = 60;
    double fps = 100;
    double exposureUs = 1000;
    double transferUs = 8000; ///< from the end of the exposure to the arrival, at least
    double startUs = 0;       ///< from the start of acquisition to the first exposure
    double driftPpm = 50;     ///< how much slower than the host's the camera's clock runs
    double wanderPpm = 0;     ///< how much the drift changes within ten minutes, up and down
    Delays delays = Delays::Exponential; ///< lognormal: of sigma 1/2; Pareto: of index 3/2
    double jitterUs = 30;                ///< mean of the usual delay of an arrival
    double tailRatio = 0.01;             ///< share of arrivals that are very late
    double tailUs = 5000;                ///< how late those are at most
    double lostRatio = 0;                ///< share of frames that never arrive
    unsigned tickBits = 64;              ///< the camera's counter wraps at 2^tickBits
    double firstTick = 1e9;
    std::vector<std::pair<double, double>> clockSteps; ///< after seconds, host's clock moved by us
    std::uint64_t seed = 1;
};
Trace MakeTrace(const Recipe& recipe);

/** Reads CSV: a heading "arrival_us,camera_ticks,truth_us", then one line for each frame. Settings
 *  may come before, in lines such as "# tick_frequency = 1e9": fps, exposure_us and loop_start_us.
 *  Only the lines of frames are required, and of these only the first two columns. Without a
 *  setting the rate is computed from the ticks. On failure `*error` says what is wrong, and where.
 */
bool ReadTrace(std::istream& from, Trace* trace, std::string* error);
void WriteTrace(const Trace& trace, std::ostream& to);

} // namespace stamps
