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

void Measure(benchmark::State& state, double (*roundNs)(const Load&), const Load& load)
{
    for (auto round : state) {
        static_cast<void>(round);
        state.SetIterationTime(roundNs(load) * 1e-9);
    }
}

/** Keeps all runs, to set medians against each other in the end. */
class Collector : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration) {
                ns_[run.run_name.function_name].push_back(run.GetAdjustedRealTime());
            }
        }
    }
    double Median(const std::string& name)
    {
        std::vector<double>& values = ns_[name];
        std::sort(values.begin(), values.end());
        return values.empty() ? 0 : values[values.size() / 2];
    }

private:
    std::map<std::string, std::vector<double>> ns_;
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
    constexpr int kRepetitions = 9;
    const auto side = [&one](const char* name, double (*roundNs)(const Load&)) {
        benchmark::RegisterBenchmark((one.name + " " + name).c_str(), Measure, roundNs, one.load)
            ->UseManualTime()
            ->Iterations(1)
            ->Repetitions(kRepetitions);
    };
    side("driver", bench::DriverRoundNs);
    side("bare", bench::BareRoundNs);
}

} // namespace

int main(int argc, char** argv)
{
    // Repetitions of all in one order would let a slow minute hit one side alone.
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
    std::printf("%-24s %10s %10s %7s\n", "ns a round, medians", "driver", "bare", "ratio");
    for (const Case& one : cases) {
        const double driver = collector.Median(one.name + " driver");
        const double bare = collector.Median(one.name + " bare");
        if (driver > 0 && bare > 0) {
            std::printf("%-24s %10.0f %10.0f %7.3f\n", one.name.c_str(), driver, bare,
                        driver / bare);
        }
    }
    Load load;
    const std::uint64_t allocations = bench::DriverAllocations(load);
    std::printf("heap allocations a frame: %g (%llu in %llu frames)\n",
                static_cast<double>(allocations) / static_cast<double>(load.frames),
                static_cast<unsigned long long>(allocations),
                static_cast<unsigned long long>(load.frames));
    return 0;
}
