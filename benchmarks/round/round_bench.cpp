/** Compares the cost of a round of the driver with that of a bare loop that makes the same calls on
 *  the same objects. The sides run in turns, in several cases that show what the cost depends on.
 */
#include "benchmarks/median.h"
#include "benchmarks/round/sessions.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace
{

using bench::Load;

/** Results of the pairs of sessions in one case, in ns per round. */
struct Pairs {
    std::vector<double> driver;
    std::vector<double> bare;
};

/** Runs a session of each side, one right after the other. The sides take turns in going first. */
void MeasurePair(benchmark::State& state, const Load& load, Pairs* pairs)
{
    for (auto pair : state) {
        static_cast<void>(pair);
        if (pairs->driver.size() % 2 == 0) {
            pairs->driver.push_back(bench::DriverRoundNs(load));
            pairs->bare.push_back(bench::BareRoundNs(load));
        } else {
            pairs->bare.push_back(bench::BareRoundNs(load));
            pairs->driver.push_back(bench::DriverRoundNs(load));
        }
    }
}

/** Prints nothing, since the table at the end has all results. */
class Silent : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override { static_cast<void>(runs); }
};

struct Case {
    std::string name;
    Load load;
    Pairs pairs{};
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
        cases.push_back({fmt::format("{}x{}", load.width, load.height), load});
    }
    for (const std::uint32_t buffers : {2U, 4U, 32U, 128U}) {
        add(fmt::format("{} buffers", buffers), &Load::buffers, buffers);
    }
    for (const std::uint64_t frames : {2'000U, 10'000U, 50'000U, 250'000U}) {
        add(fmt::format("{} frames", frames), &Load::frames, std::uint64_t{frames});
    }
    for (const std::size_t less : {5U, 10U, 15U, 20U}) {
        add(fmt::format("{} features fewer", less), &Load::featuresLess, std::size_t{less});
    }
    return cases;
}

void Register(Case& one)
{
    constexpr std::uint64_t kFrames = 500'000; // of each side, in all pairs together
    const auto pairs = std::clamp<std::uint64_t>(kFrames / one.load.frames, 15, 80);
    benchmark::RegisterBenchmark(one.name.c_str(), MeasurePair, one.load, &one.pairs)
        ->Iterations(1)
        ->Repetitions(static_cast<int>(pairs));
}

} // namespace

int main(int argc, char** argv)
{
    // If the pairs of a case ran in a row, a slow minute of the machine would affect only that
    // case.
    std::string interleaved = "--benchmark_enable_random_interleaving=true";
    std::vector<char*> arguments = {argv[0], interleaved.data()};
    for (int i = 1; i < argc; ++i) {
        arguments.push_back(argv[i]);
    }
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    std::vector<Case> cases = Cases();
    std::for_each(cases.begin(), cases.end(), Register);
    Silent silent;
    benchmark::RunSpecifiedBenchmarks(&silent);
    std::printf("medians of 15 to 80 pairs of sessions, and of the ratios of the pairs\n");
    std::printf("%-24s %10s %10s %7s\n", "ns per round", "driver", "bare", "ratio");
    for (const Case& one : cases) {
        if (!one.pairs.driver.empty()) { // otherwise the case was filtered out
            std::printf("%-24s %10.0f %10.0f %7.3f\n", one.name.c_str(),
                        bench::Median(one.pairs.driver), bench::Median(one.pairs.bare),
                        bench::MedianRatio(one.pairs.driver, one.pairs.bare));
        }
    }
    Load load;
    load.frames = 20'000;
    const std::uint64_t allocations = bench::DriverAllocations(load);
    std::printf("heap allocations per frame: %g (%llu in %llu frames)\n",
                static_cast<double>(allocations) / static_cast<double>(load.frames),
                static_cast<unsigned long long>(allocations),
                static_cast<unsigned long long>(load.frames));
    return 0;
}
