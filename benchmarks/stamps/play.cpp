#include "benchmarks/stamps/play.h"

#include "report/capture_clock.h"
#include "report/clock_drift.h"
#include "util/frame_clock.h"
#include "util/units.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace stamps
{

namespace
{

constexpr double kUsPerS = 1e6;
constexpr double kNsPerUs = 1000;
constexpr std::uint32_t kLatencyUs = 5; // as the driver has it

double Quantile(std::vector<double> values, double part)
{
    if (values.empty()) {
        return 0;
    }
    const auto rank = static_cast<std::size_t>(part * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(rank),
                     values.end());
    return values[rank];
}

Summary SummaryOf(const std::vector<double>& errors, double offset)
{
    std::vector<double> sizes;
    for (const double error : errors) {
        sizes.push_back(std::abs(error - offset));
    }
    return {Quantile(sizes, 0.5), Quantile(sizes, 0.99), Quantile(sizes, 1)};
}

std::int64_t CameraNs(const Trace& trace, const TraceFrame& frame)
{
    return std::llround(static_cast<double>(frame.ticks) / trace.tickFrequency * 1e9);
}

/** The time between two successive frames. Where the counter went back, it is the whole number of
 *  periods that fits the arrivals. */
double CameraDistanceUs(const Trace& trace, const TraceFrame& before, const TraceFrame& frame)
{
    if (frame.ticks >= before.ticks) {
        return static_cast<double>(frame.ticks - before.ticks) / trace.tickFrequency * kUsPerS;
    }
    const double periodUs = kUsPerS / trace.fps;
    return std::max(std::round((frame.arrivalUs - before.arrivalUs) / periodUs), 1.0) * periodUs;
}

} // namespace

Played Play(const Trace& trace, std::int32_t tsAdjNs)
{
    KvTd::FrameTimes times;
    times.fps = static_cast<float>(trace.fps);
    times.framePeriodUs = KvTd::ToUint32(kUsPerS / trace.fps);
    times.latencyUs = kLatencyUs;
    times.exposureUs = KvTd::ToInt32(trace.exposureUs);
    times.tsAdjNs = tsAdjNs;
    KvTd::FrameClock clock(KvTd::ToUint64(trace.loopStartUs), times.framePeriodUs);
    Played played;
    for (std::size_t i = 0; i < trace.frames.size(); ++i) {
        const TraceFrame& frame = trace.frames[i];
        times.hostGotUs = KvTd::ToUint64(frame.arrivalUs);
        times.camTsUs =
            KvTd::ToUint64(kUsPerS / trace.tickFrequency * static_cast<double>(frame.ticks));
        times.firstTsUs = times.camTsUs;
        if (i == 0) {
            clock.First(times, 0);
            if (tsAdjNs == 0) {
                clock.NextFrame(times);
            }
            clock.Released(times);
            continue;
        }
        const auto arrival = clock.Arrived(times, i == 1);
        const double stamp = static_cast<double>(clock.frameTsUs());
        const auto pace = clock.CheckPace(times);
        const double periods = (frame.truthUs - trace.frames[i - 1].truthUs) * trace.fps / kUsPerS;
        played.errors.push_back({(frame.truthUs - trace.frames[0].truthUs) / kUsPerS,
                                 stamp - frame.truthUs, periods > 1.5});
        played.wraps += arrival.wrapped ? 1 : 0;
        played.setAnew += arrival.initTrigger && i > 1 ? 1 : 0;
        played.reanchored += pace.fast || pace.slow || pace.extraSlow ? 1 : 0;
        clock.NextFrame(times);
        clock.Released(times);
    }
    return played;
}

Played PlayCapture(const Trace& trace)
{
    kvgrab::CaptureClock clock(1e9 / trace.tickFrequency);
    Played played;
    std::int64_t beforeNs = 0;
    for (const TraceFrame& frame : trace.frames) {
        const auto reading = clock.Frame(frame.ticks, std::llround(frame.arrivalUs * kNsPerUs));
        if (beforeNs != 0) {
            played.errors.push_back(
                {(frame.truthUs - trace.frames[0].truthUs) / kUsPerS,
                 static_cast<double>(reading.captureNs) / kNsPerUs - frame.truthUs, false});
            played.wentBack += reading.captureNs <= beforeNs ? 1 : 0;
        }
        played.reanchored += reading.set != kvgrab::ClockSet::None ? 1 : 0;
        beforeNs = reading.captureNs;
    }
    return played;
}

Report Evaluate(const Played& played)
{
    std::vector<double> errors;
    std::vector<double> gaps;
    for (const StampError& error : played.errors) {
        (error.afterGap ? gaps : errors).push_back(error.errorUs);
    }
    Report report;
    report.offsetUs = Quantile(errors, 0.5);
    report.whole = SummaryOf(errors, 0);
    report.withoutOffset = SummaryOf(errors, report.offsetUs);
    report.gaps = gaps.size();
    report.gapUs = Quantile(gaps, 0.5);
    return report;
}

double MeasuredDrift(const Trace& trace)
{
    kvgrab::ClockDrift drift(1e9 / trace.tickFrequency);
    for (const TraceFrame& frame : trace.frames) {
        drift.Frame(CameraNs(trace, frame), std::llround(frame.arrivalUs * kNsPerUs));
    }
    const auto estimate = drift.Fit();
    return estimate ? estimate->nsPerS : 0;
}

void FitTruth(Trace* trace)
{
    const double slope = 1 + MeasuredDrift(*trace) * 1e-9;
    double line = 0; // since the first frame, microseconds on the host's clock
    double least = std::numeric_limits<double>::max();
    const TraceFrame* before = &trace->frames[0];
    for (TraceFrame& frame : trace->frames) {
        line += CameraDistanceUs(*trace, *before, frame) * slope;
        frame.truthUs = line;
        least = std::min(least, frame.arrivalUs - line);
        before = &frame;
    }
    for (TraceFrame& frame : trace->frames) {
        frame.truthUs += least;
    }
}

} // namespace stamps
