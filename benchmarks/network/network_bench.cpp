/** Compares the whole path (kvgrab, driver, platform) with the network library alone, in turns on
 *  one camera on loopback. Prints the medians of each side and of the ratios.
 *
 *  The whole path runs twice in each turn: as usual, and as for a user without real-time rights, so
 *  that the driver has no control thread. That thread wakes equally often at any frame rate, so it
 *  costs less per frame at a higher rate.
 *
 *  The camera has no flow control: at a rate that is too high for the machine, frames are lost. The
 *  full rate is therefore the highest rate of a ladder at which the library alone misses at most
 *  one frame in a hundred. */
#include "benchmarks/median.h"
#include "benchmarks/network/child.h"
#include "benchmarks/network/plain_loop.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace
{

using bench::Median;
using bench::MedianRatio;
using bench::Outcome;
using bench::RunProgram;

constexpr const char* kAddress = "127.0.0.1";

struct Case {
    std::int64_t width;
    std::int64_t height;
    int packetSize;
    double fps = 0;
    const char* name = ""; ///< name of the rate in the table
};

constexpr Case kCases[] = {
    {640, 480, 1500}, {640, 480, 9000}, {1920, 1080, 1500}, {1920, 1080, 9000}};

/** Frames per second. */
constexpr double kLadder[] = {18, 25, 35, 50, 70, 100, 140, 200, 280, 400, 560, 800};
constexpr double kStepS = 1.5;      ///< on each step
constexpr double kSustained = 0.97; ///< of the rate
constexpr double kMissedAtMost = 0.01;

struct Programs {
    std::string self;
    std::string kvgrab;
    std::string kvcam;
    std::string folder; ///< for configuration and trace
    int turns = 4;
    int buffers = 16;
    double seconds = 2; ///< length of a run
};

struct Run {
    double framesPerSecond = 0;
    double received = 0;
    double missed = 0; ///< failed, lost or without a buffer
    double load = 0;   ///< us of CPU time per second
};

/** Ends the benchmark by an exception, which also ends the programs in the background. */
[[noreturn]] void GiveUp(const std::string& what, const std::string& output)
{
    throw std::runtime_error(fmt::format("{}:\n{}", what, output));
}

/** The number that follows `mark` in the output of a program. */
double NumberAfter(const std::string& output, const std::string& mark)
{
    const std::size_t at = output.rfind(mark);
    if (at == std::string::npos) {
        GiveUp(fmt::format("'{}' is missing in the output", mark), output);
    }
    return std::strtod(output.c_str() + at + mark.size(), nullptr);
}

/** Frames per second, from the number of frames and the time from the first to the last. */
double RateOf(double frames, double us)
{
    return us <= 0 ? 0 : (frames - 1) / us * 1e6;
}

/** Runs a program that must succeed. Its load is measured without its start and its end. */
Outcome RunWell(const std::vector<std::string>& words, bench::Rights rights, double seconds)
{
    Outcome outcome = RunProgram(words, rights, seconds * 0.7);
    if (!outcome.ended) {
        GiveUp(fmt::format("{} failed", words.front()), outcome.output);
    }
    return outcome;
}

Run Plain(const Programs& programs, const Case& one, double seconds)
{
    const Outcome outcome =
        RunWell({programs.self, "--plain-loop", "--width", std::to_string(one.width), "--height",
                 std::to_string(one.height), "--fps", std::to_string(one.fps), "--packet-size",
                 std::to_string(one.packetSize), "--buffers", std::to_string(programs.buffers),
                 "--frames", std::to_string(std::llround(one.fps * seconds))},
                bench::Rights::All, seconds);
    Run run;
    run.received = NumberAfter(outcome.output, "received ");
    run.missed = NumberAfter(outcome.output, "failed ");
    run.framesPerSecond = RateOf(run.received, NumberAfter(outcome.output, "took "));
    run.load = outcome.load;
    return run;
}

/** The time from the first to the last arrival in a trace that kvgrab wrote. */
double TraceUs(const std::string& path)
{
    std::ifstream trace(path);
    double first = 0;
    double last = 0;
    for (std::string line; std::getline(trace, line);) {
        last = std::strtod(line.c_str(), nullptr); // 0 if the line is not a frame
        first = first == 0 ? last : first;
    }
    return last - first;
}

Run KvGrab(const Programs& programs, const Case& one, bench::Rights rights, double seconds)
{
    const std::string trace = programs.folder + "/trace.csv";
    const std::string config = programs.folder + "/kvgrab.toml";
    std::ofstream(config) << "[cameras]\nbackends = \"net\"\n[stream]\npacket_size = "
                          << one.packetSize << "\nbuffers = " << programs.buffers
                          << "\n[region]\noffset_x = 0\noffset_y = 0\nwidth = " << one.width
                          << "\nheight = " << one.height << "\n[timing]\nfps = " << one.fps
                          << "\n[exposure]\nmode = \"manual\"\ntime_us = " << bench::kExposureUs
                          << "\n[memory]\nname = \"/kvgrab-network-bench\"\n";
    const Outcome outcome =
        RunWell({programs.kvgrab, "run", "--config", config, "--no-status", "--no-retry", "--trace",
                 trace, "--frames", std::to_string(std::llround(one.fps * seconds))},
                rights, seconds);
    Run run;
    run.received = NumberAfter(outcome.output, "\ngrabbed ");
    run.missed = NumberAfter(outcome.output, "dropped ");
    run.framesPerSecond = RateOf(run.received, TraceUs(trace));
    run.load = outcome.load;
    return run;
}

Run Whole(const Programs& programs, const Case& one, double seconds)
{
    return KvGrab(programs, one, bench::Rights::All, seconds);
}

Run OneThread(const Programs& programs, const Case& one, double seconds)
{
    return KvGrab(programs, one, bench::Rights::NoRealTime, seconds);
}

/** The results of all runs of one side in one case. */
struct Side {
    Run (*run)(const Programs&, const Case&, double);
    std::vector<double> framesPerSecond{};
    std::vector<double> missed{};
    std::vector<double> cpuPerFrame{};

    void Measure(const Programs& programs, const Case& one)
    {
        const Run got = run(programs, one, programs.seconds);
        framesPerSecond.push_back(got.framesPerSecond);
        missed.push_back(got.missed);
        cpuPerFrame.push_back(got.load / got.framesPerSecond);
    }
};

void Compare(const Programs& programs, const Case& one)
{
    Side whole{Whole};
    Side oneThread{OneThread};
    Side plain{Plain};
    std::array sides = {&whole, &plain, &oneThread};
    for (int turn = 0; turn < programs.turns; ++turn) {
        for (Side* side : sides) {
            side->Measure(programs, one);
        }
        std::rotate(sides.begin(), sides.begin() + 1, sides.end());
    }
    std::printf(
        "%4lldx%-4lld %6d %9s %4.0f | %6.1f %6.1f %6.3f | %6.0f %6.0f %6.3f %6.0f %6.3f | "
        "%5.0f %5.0f\n",
        static_cast<long long>(one.width), static_cast<long long>(one.height), one.packetSize,
        one.name, one.fps, Median(whole.framesPerSecond), Median(plain.framesPerSecond),
        MedianRatio(whole.framesPerSecond, plain.framesPerSecond), Median(whole.cpuPerFrame),
        Median(plain.cpuPerFrame), MedianRatio(whole.cpuPerFrame, plain.cpuPerFrame),
        Median(oneThread.cpuPerFrame), MedianRatio(oneThread.cpuPerFrame, plain.cpuPerFrame),
        Median(whole.missed), Median(plain.missed));
    std::fflush(stdout);
}

bool IsSustained(const Programs& programs, const Case& one)
{
    const Run run = Plain(programs, one, kStepS);
    return run.missed <= one.fps * kStepS * kMissedAtMost &&
           run.framesPerSecond >= one.fps * kSustained;
}

/** Compares the sides at the highest sustained rate, and at the rate below it. */
void CompareAtItsRates(const Programs& programs, Case one)
{
    std::size_t step = 0;
    for (; step < std::size(kLadder); ++step) {
        one.fps = kLadder[step];
        if (!IsSustained(programs, one) && !IsSustained(programs, one)) {
            break;
        }
    }
    step = std::max<std::size_t>(step, 2); // a short disturbance must not end the benchmark
    one.fps = kLadder[step - 2];
    one.name = "fixed";
    Compare(programs, one);
    one.fps = kLadder[step - 1];
    one.name = "full";
    Compare(programs, one);
}

void CompareAll(const Programs& programs)
{
    const bench::Background camera({programs.kvcam, "--address", kAddress});
    std::this_thread::sleep_for(std::chrono::seconds(1));
    if (!camera.IsRunning()) {
        GiveUp("the camera doesn't start", programs.kvcam);
    }
    std::printf("whole: kvgrab, driver and platform; plain: the network library alone; one: kvgrab "
                "without real-time\nrights, so that the driver has one thread; medians of %d turns "
                "of %g s, also of their ratios\n",
                programs.turns, programs.seconds);
    std::printf(
        "image     packet      rate   |   frames per second  |         CPU us a frame       "
        "     |  missed\n");
    std::printf("                             |  whole  plain    w/p |  whole  plain    w/p    one "
                "   o/p | whole plain\n");
    for (const Case& one : kCases) {
        CompareAtItsRates(programs, one);
    }
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app("Compares the whole path with the network library alone.", "network_bench");
    const std::string folder = std::filesystem::canonical("/proc/self/exe").parent_path();
    Programs programs{folder + "/network_bench", folder + "/kvgrab", folder + "/kvcam", {}};
    bench::PlainLoop plan;
    plan.address = kAddress;
    bool plain = false;
    app.add_flag("--plain-loop", plain, "only the library's side, once");
    app.add_option("--turns", programs.turns, "runs of each side in each case")
        ->check(CLI::Range(1, 1000));
    app.add_option("--seconds", programs.seconds, "length of a run; in less no load can be seen")
        ->check(CLI::Range(1.0, 3600.0));
    app.add_option("--width", plan.width);
    app.add_option("--height", plan.height);
    app.add_option("--fps", plan.fps);
    app.add_option("--packet-size", plan.packetSize);
    app.add_option("--buffers", plan.buffers);
    app.add_option("--frames", plan.frames);
    CLI11_PARSE(app, argc, argv);
    if (plain) {
        return bench::RunPlainLoop(plan);
    }
    std::string place = (std::filesystem::temp_directory_path() / "network_bench.XXXXXX").string();
    if (mkdtemp(place.data()) == nullptr) {
        std::perror("network_bench: no folder for the configuration");
        return 1;
    }
    programs.folder = place;
    int status = 0;
    try {
        CompareAll(programs);
    } catch (const std::runtime_error& error) {
        std::fprintf(stderr, "network_bench: %s\n", error.what());
        status = 1;
    }
    std::filesystem::remove_all(place);
    return status;
}
