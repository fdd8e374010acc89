/** Plays a trace, recorded or generated, through both modes of time stamps and through the capture
 *  clock, and reports how far they are from the true times. */
#include "benchmarks/stamps/drawing.h"
#include "benchmarks/stamps/play.h"
#include "benchmarks/stamps/trace.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <optional>

namespace
{

using namespace stamps;

struct Options {
    Recipe recipe;
    std::string traceFile;
    std::string writeFile;
    std::string svgFile;
    std::vector<std::string> steps;
    std::optional<std::int32_t> tsAdjNs;
};

bool ParseSteps(Options* options)
{
    for (const std::string& text : options->steps) {
        double atS = 0;
        double us = 0;
        if (std::sscanf(text.c_str(), "%lf:%lf", &atS, &us) != 2) {
            std::fprintf(stderr, "stamps_bench: '%s' is not a step such as 30:-2500\n",
                         text.c_str());
            return false;
        }
        options->recipe.clockSteps.emplace_back(atS, us);
    }
    return true;
}

bool Load(const Options& options, Trace* trace)
{
    if (options.traceFile.empty()) {
        *trace = MakeTrace(options.recipe);
        return true;
    }
    std::ifstream file(options.traceFile);
    std::string error = "can't be opened";
    if (!file || !ReadTrace(file, trace, &error)) {
        std::fprintf(stderr, "stamps_bench: %s: %s\n", options.traceFile.c_str(), error.c_str());
        return false;
    }
    if (!trace->startIsKnown) {
        std::puts(
            "The trace has no loop_start_us. The start is assumed one frame period before the "
            "first arrival,\nand the offset is only as accurate as that.");
    }
    if (!trace->hasTruth) {
        std::puts("The trace has no true times. They are estimated by the line through the least "
                  "delayed frames.");
        FitTruth(trace);
    }
    return true;
}

void Print(const std::string& name, const Played& played)
{
    const Report report = Evaluate(played);
    std::printf("%-26s %10.1f | %9.1f %9.1f %10.1f | %9.1f %9.1f %10.1f | %5u %5u %5u\n",
                name.c_str(), report.offsetUs, report.whole.median, report.whole.most,
                report.whole.worst, report.withoutOffset.median, report.withoutOffset.most,
                report.withoutOffset.worst, played.reanchored, played.wraps, played.setAnew);
    if (report.gaps > 0) {
        std::printf("    %zu frames after a gap, not counted above: median error %.1f us\n",
                    report.gaps, report.gapUs);
    }
}

/** Removes what all errors have in common, and returns it. */
double TakeOffset(Played* played)
{
    const double offsetUs = Evaluate(*played).offsetUs;
    for (StampError& error : played->errors) {
        error.errorUs -= offsetUs;
    }
    return offsetUs;
}

int Run(const Options& options)
{
    Trace trace;
    if (!Load(options, &trace)) {
        return 1;
    }
    if (!options.writeFile.empty()) {
        std::ofstream file(options.writeFile);
        WriteTrace(trace, file);
    }
    const auto tuned = options.tsAdjNs
                           ? *options.tsAdjNs
                           : static_cast<std::int32_t>(std::llround(MeasuredDrift(trace)));
    struct Way {
        std::string name;
        std::int32_t tsAdjNs;
    };
    const std::vector<Way> ways = {{"REGULAR", 0},
                                   {"REFCAMTS, untuned (1)", 1},
                                   {fmt::format("REFCAMTS, {}", tuned), tuned == 0 ? 1 : tuned}};
    std::printf("%zu frames over %.0f s at %g per second; all errors in us\n", trace.frames.size(),
                (trace.frames.back().truthUs - trace.frames[0].truthUs) / 1e6, trace.fps);
    std::printf("drift measured from the trace: %.0f ns per s\n\n", MeasuredDrift(trace));
    std::printf("%-26s %10s | %9s %9s %10s | %9s %9s %10s | %5s %5s %5s\n", "", "offset", "median",
                "99 %", "worst", "median", "99 %", "worst", "moved", "wraps", "anew");
    std::printf("%-26s %10s | %30s | %30s |\n", "mode, drift_ns_per_s", "", "from the truth",
                "without the offset");
    std::vector<Played> played;
    std::vector<Panel> panels;
    played.reserve(ways.size() + 1);
    for (const Way& way : ways) {
        played.push_back(Play(trace, way.tsAdjNs));
        Print(way.name, played.back());
        panels.push_back({way.name, &played.back()});
    }
    played.push_back(PlayCapture(trace));
    Print("capture time", played.back());
    const double offsetUs = TakeOffset(&played.back());
    panels.push_back(
        {fmt::format("capture time, without its offset of {:.1f} us", offsetUs), &played.back()});
    if (!options.svgFile.empty()) {
        std::ofstream(options.svgFile) << Draw(panels);
        std::printf("\ndrawn into %s\n", options.svgFile.c_str());
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    CLI::App app("Measures the errors of time stamps in both modes, and of capture times "
                 "(docs/time_stamps.md).",
                 "stamps_bench");
    app.option_defaults()->always_capture_default();
    app.add_option("--trace", options.traceFile,
                   "CSV file to play; without it a trace is generated");
    app.add_option("--write", options.writeFile, "write the trace to this CSV file");
    app.add_option("--svg", options.svgFile, "draw the errors over time");
    app.add_option("--drift-ns-per-s", options.tsAdjNs,
                   "drift to configure, instead of the measured one");
    Recipe& recipe = options.recipe;
    app.add_option("--seconds", recipe.seconds, "length");
    app.add_option("--fps", recipe.fps, "frames per second");
    app.add_option("--exposure-us", recipe.exposureUs, "exposure time");
    app.add_option("--transfer-us", recipe.transferUs, "least time from exposure to arrival");
    app.add_option("--start-us", recipe.startUs, "from the start to the first exposure");
    app.add_option("--drift-ppm", recipe.driftPpm, "how much slower the camera's clock runs");
    app.add_option("--wander-ppm", recipe.wanderPpm,
                   "how much the drift changes within ten minutes, up and down");
    app.add_option("--delays", recipe.delays, "how the delays of arrivals are distributed")
        ->transform(CLI::CheckedTransformer(
            std::map<std::string, Delays>{{"exponential", Delays::Exponential},
                                          {"lognormal", Delays::Lognormal},
                                          {"pareto", Delays::Pareto}}));
    app.add_option("--jitter-us", recipe.jitterUs, "mean delay of an arrival");
    app.add_option("--tail-ratio", recipe.tailRatio, "part of arrivals that are very late");
    app.add_option("--tail-us", recipe.tailUs, "how late those are at most");
    app.add_option("--lost-ratio", recipe.lostRatio, "part of frames that never arrive");
    app.add_option("--tick-bits", recipe.tickBits, "the camera's counter wraps at 2 to this")
        ->check(CLI::Range(8, 64));
    app.add_option("--first-tick", recipe.firstTick, "the camera's counter at the first frame");
    app.add_option("--seed", recipe.seed, "seed of all random numbers");
    app.add_option("--clock-step", options.steps,
                   "SECONDS:US: after SECONDS, the host's clock is moved by US; may be repeated")
        ->take_all();
    CLI11_PARSE(app, argc, argv);
    return ParseSteps(&options) ? Run(options) : 1;
}
