/** What a round of the driver costs beside a bare loop that makes the same calls, on the same
 *  objects, in turns; and whether that depends on anything. */
#include "sessions.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace
{

using bench::Load;

/** A session of each side, one right after the other: what slows the machine for longer than that
 *  slows both, and their ratio says little of it. */
void MeasurePair(benchmark::State& state, const Load& load)
{
    static bool driverFirst = false;
    for (auto pair : state) {
        static_cast<void>(pair);
        driverFirst = !driverFirst;
        double driver = driverFirst ? bench::DriverRoundNs(load) : 0;
        const double bare = bench::BareRoundNs(load);
        driver = driverFirst ? driver : bench::DriverRoundNs(load);
        state.SetIterationTime((driver + bare) * 1e-9);
        state.counters["driver"] = driver;
        state.counters["bare"] = bare;
        state.counters["ratio"] = driver / bare;
    }
}

/** Keeps the pairs of each case. */
class Collector : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration) {
                for (const auto& [name, counter] : run.counters) {
                    values_[run.run_name.function_name][name].push_back(counter.value);
                }
            }
        }
    }
    /** Median of the pairs; 0 for a case that was filtered out. */
    double Median(const std::string& of, const std::string& counter)
    {
        std::vector<double>& values = values_[of][counter];
        std::sort(values.begin(), values.end());
        return values.empty() ? 0 : values[values.size() / 2];
    }

private:
    std::map<std::string, std::map<std::string, std::vector<double>>> values_;
};

struct Case {
    std::string name;
    Load load;
};

std::vector<Case> Cases()
{
    std::vector<Case> cases = {{"640x480, 8 buffers", {}}};
    const auto add = [&cases](const std::string& name, auto Load::*field, auto value) {
        Load load;
        load.*field = value;
        cases.push_back({name, load});
    };
    for (const std::uint32_t width : {64U, 320U, 1280U, 2560U}) {
        Load load;
        load.width = width;
        load.height = width * 3 / 4;
        cases.push_back({std::to_string(load.width) + "x" + std::to_string(load.height), load});
    }
    for (const std::uint32_t buffers : {2U, 4U, 32U, 128U}) {
        add(std::to_string(buffers) + " buffers", &Load::buffers, buffers);
    }
    for (const std::uint64_t frames : {2'000U, 10'000U, 50'000U, 250'000U}) {
        add(std::to_string(frames) + " frames", &Load::frames, std::uint64_t{frames});
    }
    for (const std::size_t less : {5U, 10U, 15U, 20U}) {
        add(std::to_string(less) + " features fewer", &Load::featuresLess, std::size_t{less});
    }
    return cases;
}

void Register(const Case& one)
{
    constexpr std::uint64_t kFrames = 500'000; // of all pairs
    const auto pairs = std::clamp<std::uint64_t>(kFrames / one.load.frames, 15, 80);
    benchmark::RegisterBenchmark(one.name.c_str(), MeasurePair, one.load)
        ->UseManualTime()
        ->Iterations(1)
        ->Repetitions(static_cast<int>(pairs));
}

} // namespace

int main(int argc, char** argv)
{
    // One case's pairs after another's would let a slow minute hit one case alone.
    std::string interleaved = "--benchmark_enable_random_interleaving=true";
    std::vector<char*> arguments = {argv[0], interleaved.data()};
    for (int i = 1; i < argc; ++i) {
        arguments.push_back(argv[i]);
    }
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    const std::vector<Case> cases = Cases();
    std::for_each(cases.begin(), cases.end(), Register);
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    std::printf("medians of 15 to 80 pairs of sessions, one right after the other; the ratio is "
                "that of a pair\n");
    std::printf("%-24s %10s %10s %7s\n", "ns a round", "driver", "bare", "ratio");
    for (const Case& one : cases) {
        if (collector.Median(one.name, "ratio") > 0) {
            std::printf("%-24s %10.0f %10.0f %7.3f\n", one.name.c_str(),
                        collector.Median(one.name, "driver"), collector.Median(one.name, "bare"),
                        collector.Median(one.name, "ratio"));
        }
    }
    Load load;
    load.frames = 20'000;
    const std::uint64_t allocations = bench::DriverAllocations(load);
    std::printf("heap allocations a frame: %g (%llu in %llu frames)\n",
                static_cast<double>(allocations) / static_cast<double>(load.frames),
                static_cast<unsigned long long>(allocations),
                static_cast<unsigned long long>(load.frames));
    return 0;
}
