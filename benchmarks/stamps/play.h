/** Plays a trace through the driver's frame clock, as the grab loop does. */
#pragma once

#include "benchmarks/stamps/trace.h"

#include <cstdint>
#include <vector>

namespace stamps
{

struct StampError {
    double atS = 0;        ///< since the first frame, on the host's clock
    double errorUs = 0;    ///< stamp - truth
    bool afterGap = false; ///< frames were lost just before this one
};

struct Played {
    std::vector<StampError> errors; ///< of each frame that has a stamp, from the second on
    unsigned reanchored = 0;        ///< because frames were early or late for too long
    unsigned wentBack = 0;          ///< how many stamps are before the one before
    unsigned wraps = 0;
    unsigned setAnew = 0; ///< how often the clock was set, because a stamp would be in the future
};

/** `tsAdjNs` 0 is REGULAR mode, anything else REFCAMTS. */
Played Play(const Trace& trace, std::int32_t tsAdjNs);

/** The capture times that kvgrab would give the frames. */
Played PlayCapture(const Trace& trace);

/** Quantiles of the absolute errors, in microseconds. */
struct Summary {
    double median = 0;
    double most = 0; ///< 99 % are not larger
    double worst = 0;
};

/** The offset that all stamps have in common, and the errors with and without it. Frames after a
 *  gap are counted separately, since they get the stamp of the frame that was expected in the gap.
 */
struct Report {
    double offsetUs = 0; ///< median of the errors, signed
    Summary whole;
    Summary withoutOffset;
    std::size_t gaps = 0;
    double gapUs = 0; ///< median of the errors after a gap
};
Report Evaluate(const Played& played);

/** The drift that kvgrab would measure over this trace, in ns per s; 0 when it is too short. */
double MeasuredDrift(const Trace& trace);

/** Estimates the true times of a trace that has none, by the line through the least delayed frames.
 *  It is later than the truth by the shortest delay. */
void FitTruth(Trace* trace);

} // namespace stamps
