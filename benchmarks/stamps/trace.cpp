#include "benchmarks/stamps/trace.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iomanip>
#include <istream>
#include <map>
#include <numbers>
#include <ostream>
#include <random>
#include <string_view>

namespace stamps
{

namespace
{

constexpr double kUsPerS = 1e6;
constexpr double kEpochUs = 1'700'000'000'000'000;
constexpr const char* kColumns = "arrival_us,camera_ticks,truth_us";
constexpr const char* kColumnsWithoutTruth = "arrival_us,camera_ticks";
constexpr const char* kColumnsOfKvgrab =
    "arrival_us,camera_ticks,frame,received,resent,missing,dropped,lost,no_buffer";

template <class Number> bool Parse(std::string_view text, Number* number)
{
    while (!text.empty() && text.front() == ' ') {
        text.remove_prefix(1);
    }
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *number);
    return error == std::errc() && end == text.data() + text.size();
}

/** "# name = value" */
bool ParseSetting(std::string_view line, Trace* trace)
{
    const std::map<std::string_view, double*> settings = {{"tick_frequency", &trace->tickFrequency},
                                                          {"fps", &trace->fps},
                                                          {"exposure_us", &trace->exposureUs},
                                                          {"loop_start_us", &trace->loopStartUs}};
    line.remove_prefix(1);
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) {
        return true; // a comment
    }
    std::string_view name = line.substr(0, equals);
    name.remove_prefix(std::min(name.find_first_not_of(' '), name.size()));
    name = name.substr(0, name.find_last_not_of(' ') + 1);
    const auto setting = settings.find(name);
    return setting == settings.end() ||
           (Parse(line.substr(equals + 1), setting->second) && std::isfinite(*setting->second));
}

bool HasThreeColumns(std::string_view line)
{
    return std::count(line.begin(), line.end(), ',') == 2;
}

bool ParseFrame(std::string_view line, bool hasTruth, TraceFrame* frame)
{
    const std::size_t first = line.find(',');
    const std::size_t second = first == std::string_view::npos ? first : line.find(',', first + 1);
    if (first == std::string_view::npos || (second == std::string_view::npos) == hasTruth) {
        return false;
    }
    return Parse(line.substr(0, first), &frame->arrivalUs) &&
           Parse(line.substr(first + 1, second - first - 1), &frame->ticks) &&
           (!hasTruth || Parse(line.substr(second + 1), &frame->truthUs)) &&
           std::isfinite(frame->arrivalUs) && std::isfinite(frame->truthUs);
}

/** The times in a line that kvgrab recorded; empty: the frame was dropped. */
std::string_view TimesOf(std::string_view line)
{
    constexpr int kDropped = 6;
    const std::string_view times = line.substr(0, line.find(',', line.find(',') + 1));
    for (int column = 0; column < kDropped; ++column) {
        line.remove_prefix(std::min(line.find(','), line.size() - 1) + 1);
    }
    return line.starts_with(',') ? times : std::string_view();
}

/** Frames per second by the camera's own ticks; 0 if it can't be computed from them. */
double RateOf(const Trace& trace)
{
    std::vector<double> distances;
    for (std::size_t i = 1; i < trace.frames.size(); ++i) {
        distances.push_back(static_cast<double>(trace.frames[i].ticks) -
                            static_cast<double>(trace.frames[i - 1].ticks));
    }
    const auto middle = distances.begin() + static_cast<std::ptrdiff_t>(distances.size() / 2);
    std::nth_element(distances.begin(), middle, distances.end());
    return *middle > 0 ? trace.tickFrequency / *middle : 0;
}

double ClockStepUs(const Recipe& recipe, double atS)
{
    double stepUs = 0;
    for (const auto& [fromS, us] : recipe.clockSteps) {
        stepUs += atS >= fromS ? us : 0;
    }
    return stepUs;
}

/** By how much the host's clock gained because the drift wanders. */
double WanderS(const Recipe& recipe, double atS)
{
    constexpr double kTurnS = 1200 / (2 * std::numbers::pi);
    return recipe.wanderPpm * 1e-6 / 2 * kTurnS * (1 - std::cos(atS / kTurnS));
}

/** Delays of arrivals. */
class Lateness
{
public:
    explicit Lateness(const Recipe& recipe) : recipe_(recipe) {}

    double UsualUs(std::mt19937_64& random)
    {
        constexpr double kSigma = 0.5;
        constexpr double kIndex = 1.5;
        switch (recipe_.delays) {
        case Delays::Lognormal:
            return recipe_.jitterUs * std::exp(kSigma * normal_(random) - kSigma * kSigma / 2);
        case Delays::Pareto:
            return recipe_.jitterUs * (1 - 1 / kIndex) * std::pow(1 - chance_(random), -1 / kIndex);
        default:
            return recipe_.jitterUs * exponential_(random);
        }
    }

private:
    const Recipe& recipe_;
    std::exponential_distribution<double> exponential_;
    std::normal_distribution<double> normal_;
    std::uniform_real_distribution<double> chance_;
};

} // namespace

Trace MakeTrace(const Recipe& recipe)
{
    Trace trace;
    trace.fps = recipe.fps;
    trace.exposureUs = recipe.exposureUs;
    trace.loopStartUs = kEpochUs;
    std::mt19937_64 random(recipe.seed);
    Lateness usual(recipe);
    std::uniform_real_distribution<double> chance(0, 1);
    const auto count = static_cast<std::uint64_t>(recipe.seconds * recipe.fps);
    const double rate = 1 - recipe.driftPpm * 1e-6;
    double lastArrivalS = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        // The camera paces its frames by its own clock.
        const double cameraS = static_cast<double>(i) / recipe.fps;
        const double hostS = cameraS / rate + WanderS(recipe, cameraS) + recipe.startUs / kUsPerS;
        const double lateUs =
            usual.UsualUs(random) +
            (chance(random) < recipe.tailRatio ? chance(random) * recipe.tailUs : 0);
        const bool lost = i > 0 && chance(random) < recipe.lostRatio;
        if (lost) {
            continue;
        }
        TraceFrame frame;
        frame.truthUs = kEpochUs + hostS * kUsPerS + ClockStepUs(recipe, hostS);
        const double arrivalS =
            std::max(hostS + (recipe.exposureUs + recipe.transferUs + lateUs) / kUsPerS,
                     lastArrivalS); // frames come in order
        lastArrivalS = arrivalS;
        frame.arrivalUs = kEpochUs + arrivalS * kUsPerS + ClockStepUs(recipe, arrivalS);
        const double ticks = recipe.firstTick + cameraS * trace.tickFrequency;
        frame.ticks = static_cast<std::uint64_t>(ticks);
        if (recipe.tickBits < 64) {
            frame.ticks &= (std::uint64_t{1} << recipe.tickBits) - 1;
        }
        trace.frames.push_back(frame);
    }
    return trace;
}

bool ReadTrace(std::istream& from, Trace* trace, std::string* error)
{
    constexpr double kUnknown = 0;
    trace->fps = kUnknown;
    trace->loopStartUs = kUnknown;
    std::string line;
    bool inFrames = false;
    bool ofKvgrab = false;
    for (unsigned number = 1; std::getline(from, line); ++number) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        bool fine = true;
        if (line.empty()) {
            continue;
        }
        if (line.front() == '#') {
            fine = ParseSetting(line, trace);
        } else if (!inFrames &&
                   (line == kColumns || line == kColumnsWithoutTruth || line == kColumnsOfKvgrab)) {
            trace->hasTruth = line == kColumns;
            ofKvgrab = line == kColumnsOfKvgrab;
            inFrames = true;
        } else if (ofKvgrab) {
            const std::string_view times = TimesOf(line);
            if (!times.empty()) {
                trace->frames.emplace_back();
                fine = ParseFrame(times, false, &trace->frames.back());
            }
        } else {
            trace->hasTruth = inFrames ? trace->hasTruth : HasThreeColumns(line);
            inFrames = true;
            trace->frames.emplace_back();
            fine = ParseFrame(line, trace->hasTruth, &trace->frames.back());
        }
        if (!fine) {
            *error =
                fmt::format("line {}: '{}' is neither a setting like # fps = 100 nor a frame, {}",
                            number, line, trace->hasTruth ? kColumns : kColumnsWithoutTruth);
            return false;
        }
    }
    if (trace->frames.size() < 2 || trace->tickFrequency <= 0) {
        *error = "a trace needs at least two frames and a tick frequency above 0";
        return false;
    }
    trace->fps = trace->fps == kUnknown ? RateOf(*trace) : trace->fps;
    if (trace->fps <= 0) {
        *error = "the rate (fps) must be above 0; it can't be computed from these ticks, so set it";
        return false;
    }
    trace->startIsKnown = trace->loopStartUs != kUnknown;
    if (!trace->startIsKnown) {
        trace->loopStartUs = trace->frames[0].arrivalUs - kUsPerS / trace->fps;
    }
    return true;
}

void WriteTrace(const Trace& trace, std::ostream& to)
{
    to << std::setprecision(15) << "# tick_frequency = " << trace.tickFrequency
       << "\n# fps = " << trace.fps << "\n# exposure_us = " << trace.exposureUs << std::fixed
       << std::setprecision(3) << "\n# loop_start_us = " << trace.loopStartUs << "\n"
       << (trace.hasTruth ? kColumns : kColumnsWithoutTruth) << "\n";
    for (const TraceFrame& frame : trace.frames) {
        to << frame.arrivalUs << ',' << frame.ticks;
        if (trace.hasTruth) {
            to << ',' << frame.truthUs;
        }
        to << '\n';
    }
}

} // namespace stamps
