/** The whole path (kvgrab, driver, platform) against the network library alone, on one camera on
 *  loopback, in turns. Prints medians and their ratios.
 *
 *  CPU per frame is the difference between a long and a short run, so that what a program does
 * before its first frame doesn't count. */
#include "child.h"
#include "plain_loop.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace
{

using bench::Cost;
using bench::RunProgram;

constexpr const char* kAddress = "127.0.0.1";

struct Case {
    std::int64_t width;
    std::int64_t height;
    int packetSize;
    double fps; ///< the rate, or as much as the camera allows
    bool full;
};

/** Rates that a sender and a receiver keep up with on two slow cores. */
constexpr Case kCases[] = {
    {640, 480, 1500, 100, false},    {640, 480, 9000, 100, false},    {1920, 1080, 1500, 30, false},
    {1920, 1080, 9000, 60, false},   {640, 480, 1500, 10000, true},   {640, 480, 9000, 10000, true},
    {1920, 1080, 1500, 10000, true}, {1920, 1080, 9000, 10000, true},
};

struct Programs {
    std::string self;
    std::string kvgrab;
    std::string kvcam;
    std::string folder; ///< for configurations and logs
    int pairs = 5;
    int buffers = 16;
    double seconds = 5; ///< of a long run
};

struct Run {
    double framesPerSecond = 0;
    double received = 0;
    double missed = 0; ///< failed, lost or without a buffer
    double cpuUs = 0;
};

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2;
}

[[noreturn]] void GiveUp(const std::string& what, const std::string& output)
{
    std::fprintf(stderr, "network_bench: %s:\n%s\n", what.c_str(), output.c_str());
    std::exit(1);
}

/** The number behind `mark` in a program's output. */
double NumberAfter(const std::string& output, const std::string& mark)
{
    const std::size_t at = output.rfind(mark);
    if (at == std::string::npos) {
        GiveUp("there is no '" + mark + "' in", output);
    }
    return std::strtod(output.c_str() + at + mark.size(), nullptr);
}

Run Plain(const Programs& programs, const Case& one, std::uint64_t frames)
{
    const Cost cost =
        RunProgram({programs.self, "--plain-loop", "--width", std::to_string(one.width), "--height",
                    std::to_string(one.height), "--fps", std::to_string(one.fps), "--packet-size",
                    std::to_string(one.packetSize), "--buffers", std::to_string(programs.buffers),
                    "--frames", std::to_string(frames)});
    if (!cost.ended) {
        GiveUp("the plain loop failed", cost.output);
    }
    Run run;
    run.received = NumberAfter(cost.output, "received ");
    run.missed = NumberAfter(cost.output, "failed ");
    run.framesPerSecond = run.received / NumberAfter(cost.output, "took ") * 1e6;
    run.cpuUs = cost.cpuUs;
    return run;
}

Run Whole(const Programs& programs, const Case& one, std::uint64_t frames)
{
    const std::string config = programs.folder + "/kvgrab.toml";
    std::ofstream(config) << "[cameras]\nkinds = \"net\"\n[stream]\npacket_size = "
                          << one.packetSize << "\nbuffers = " << programs.buffers
                          << "\n[region]\noffset_x = 0\noffset_y = 0\nwidth = " << one.width
                          << "\nheight = " << one.height << "\n[timing]\nfps = " << one.fps
                          << "\n[memory]\nname = \"/kvgrab-network-bench\"\n";
    const Cost cost = RunProgram({programs.kvgrab, "run", "--config", config, "--no-status",
                                  "--no-retry", "--frames", std::to_string(frames)});
    if (!cost.ended) {
        GiveUp("kvgrab failed", cost.output);
    }
    Run run;
    run.received = NumberAfter(cost.output, "\ngrabbed ");
    run.missed = NumberAfter(cost.output, "dropped ");
    const std::string took = "Actual grabbing loop took: ";
    const double s = NumberAfter(cost.output, took);
    const std::size_t at = cost.output.rfind(took);
    const double us = std::strtod(cost.output.c_str() + cost.output.find("s ", at) + 2, nullptr);
    run.framesPerSecond = run.received / (s + us / 1e6);
    run.cpuUs = cost.cpuUs;
    return run;
}

/** One kind of program in one case: what its pairs of long and short runs say. */
struct Side {
    Run (*run)(const Programs&, const Case&, std::uint64_t);
    std::vector<double> framesPerSecond{};
    std::vector<double> received{};
    std::vector<double> missed{};
    std::vector<double> cpuPerFrame{};

    void Measure(const Programs& programs, const Case& one, std::uint64_t frames)
    {
        const std::uint64_t few = frames / 10 + 2;
        const Run brief = run(programs, one, few);
        const Run whole = run(programs, one, frames);
        framesPerSecond.push_back(whole.framesPerSecond);
        received.push_back(whole.received);
        missed.push_back(whole.missed);
        cpuPerFrame.push_back((whole.cpuUs - brief.cpuUs) / static_cast<double>(frames - few));
    }
};

void Compare(const Programs& programs, const Case& one)
{
    Side whole{Whole};
    Side plain{Plain};
    // At full rate a case says how many frames its long run has time for.
    const double rate = one.full ? Plain(programs, one, 100).framesPerSecond : one.fps;
    const auto frames = static_cast<std::uint64_t>(rate * programs.seconds);
    for (int pair = 0; pair < programs.pairs; ++pair) {
        Side& first = pair % 2 == 0 ? whole : plain;
        Side& second = pair % 2 == 0 ? plain : whole;
        first.Measure(programs, one, frames);
        second.Measure(programs, one, frames);
    }
    std::printf(
        "%4lldx%-4lld %6d %9s | %7.1f %7.1f  %5.3f | %6.1f %6.1f  %5.3f | %6.0f %6.0f | "
        "%4.0f %4.0f\n",
        static_cast<long long>(one.width), static_cast<long long>(one.height), one.packetSize,
        one.full ? "full" : std::to_string(static_cast<int>(one.fps)).c_str(),
        Median(whole.framesPerSecond), Median(plain.framesPerSecond),
        Median(whole.framesPerSecond) / Median(plain.framesPerSecond), Median(whole.cpuPerFrame),
        Median(plain.cpuPerFrame), Median(whole.cpuPerFrame) / Median(plain.cpuPerFrame),
        Median(whole.received), Median(plain.received), Median(whole.missed), Median(plain.missed));
    std::fflush(stdout);
}

void CompareAll(const Programs& programs)
{
    const bench::Background camera({programs.kvcam, "--address", kAddress});
    std::this_thread::sleep_for(std::chrono::seconds(1));
    if (!camera.IsRunning()) {
        GiveUp("the camera doesn't start", programs.kvcam);
    }
    std::printf("whole: kvgrab, driver and platform; plain: the network library alone; medians of "
                "%d pairs\n",
                programs.pairs);
    std::printf("image     packet      rate |  frames per second  w/p |  CPU us a frame   w/p |"
                "    received   |  missed\n");
    std::printf("                            |   whole   plain       |  whole  plain       |"
                "  whole  plain | whole plain\n");
    for (const Case& one : kCases) {
        Compare(programs, one);
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
    app.add_option("--pairs", programs.pairs, "pairs of runs in each case");
    app.add_option("--seconds", programs.seconds, "length of a long run");
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
        GiveUp("no folder for the configuration", place);
    }
    programs.folder = place;
    CompareAll(programs);
    std::filesystem::remove_all(place);
    return 0;
}
