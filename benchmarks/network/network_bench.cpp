/** The whole path (kvgrab, driver, platform) against the network library alone, on one camera on
 *  loopback, in turns. Prints medians and their ratios.
 *
 *  The camera knows no flow control: asked for more than the machine carries, it only loses frames.
 *  So the full rate is the highest of a ladder at which the library alone misses next to none. */
#include "child.h"
#include "plain_loop.h"

#include <CLI/CLI.hpp>

#include <algorithm>
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

using bench::Outcome;
using bench::RunProgram;

constexpr const char* kAddress = "127.0.0.1";

struct Case {
    std::int64_t width;
    std::int64_t height;
    int packetSize;
    double fps = 0;
    const char* name = ""; ///< of the rate
};

constexpr Case kCases[] = {
    {640, 480, 1500}, {640, 480, 9000}, {1920, 1080, 1500}, {1920, 1080, 9000}};

/** Frames a second. */
constexpr double kLadder[] = {18, 25, 35, 50, 70, 100, 140, 200, 280, 400, 560, 800};
constexpr double kStepS = 1.5;      ///< on each step
constexpr double kSustained = 0.97; ///< of the rate
constexpr double kMissedAtMost = 0.01;

struct Programs {
    std::string self;
    std::string kvgrab;
    std::string kvcam;
    std::string folder; ///< for configurations and logs
    int pairs = 4;
    int buffers = 16;
    double seconds = 3; ///< of a run
};

struct Run {
    double framesPerSecond = 0;
    double received = 0;
    double missed = 0; ///< failed, lost or without a buffer
    bench::Load load;
};

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2;
}

/** Ends it all; what is in the background is ended on the way out. */
[[noreturn]] void GiveUp(const std::string& what, const std::string& output)
{
    throw std::runtime_error(what + ":\n" + output);
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

/** Of a run, without its start and its end. */
double Watched(double seconds)
{
    return seconds * 0.7;
}

Run Plain(const Programs& programs, const Case& one, double seconds)
{
    const Outcome outcome =
        RunProgram({programs.self, "--plain-loop", "--width", std::to_string(one.width), "--height",
                    std::to_string(one.height), "--fps", std::to_string(one.fps), "--packet-size",
                    std::to_string(one.packetSize), "--buffers", std::to_string(programs.buffers),
                    "--frames", std::to_string(std::llround(one.fps * seconds))},
                   Watched(seconds));
    if (!outcome.ended) {
        GiveUp("the plain loop failed", outcome.output);
    }
    Run run;
    run.received = NumberAfter(outcome.output, "received ");
    run.missed = NumberAfter(outcome.output, "failed ");
    run.framesPerSecond = run.received / NumberAfter(outcome.output, "took ") * 1e6;
    run.load = outcome.load;
    return run;
}

Run Whole(const Programs& programs, const Case& one, double seconds)
{
    const std::string config = programs.folder + "/kvgrab.toml";
    std::ofstream(config) << "[cameras]\nkinds = \"net\"\n[stream]\npacket_size = "
                          << one.packetSize << "\nbuffers = " << programs.buffers
                          << "\n[region]\noffset_x = 0\noffset_y = 0\nwidth = " << one.width
                          << "\nheight = " << one.height << "\n[timing]\nfps = " << one.fps
                          << "\n[exposure]\nmode = \"manual\"\ntime_us = " << bench::kExposureUs
                          << "\n[memory]\nname = \"/kvgrab-network-bench\"\n";
    const Outcome outcome =
        RunProgram({programs.kvgrab, "run", "--config", config, "--no-status", "--no-retry",
                    "--frames", std::to_string(std::llround(one.fps * seconds))},
                   Watched(seconds));
    if (!outcome.ended) {
        GiveUp("kvgrab failed", outcome.output);
    }
    Run run;
    run.received = NumberAfter(outcome.output, "\ngrabbed ");
    run.missed = NumberAfter(outcome.output, "dropped ");
    const std::string took = "Actual grabbing loop took: ";
    const double s = NumberAfter(outcome.output, took);
    const std::size_t at = outcome.output.rfind(took);
    const double us =
        std::strtod(outcome.output.c_str() + outcome.output.find("s ", at) + 2, nullptr);
    run.framesPerSecond = run.received / (s + us / 1e6);
    run.load = outcome.load;
    return run;
}

/** One kind of program in one case: what its runs say. */
struct Side {
    Run (*run)(const Programs&, const Case&, double);
    std::vector<double> framesPerSecond{};
    std::vector<double> missed{};
    std::vector<double> cpuPerFrame{};
    std::vector<double> realTimePerFrame{};

    void Measure(const Programs& programs, const Case& one)
    {
        const Run got = run(programs, one, programs.seconds);
        framesPerSecond.push_back(got.framesPerSecond);
        missed.push_back(got.missed);
        cpuPerFrame.push_back(got.load.all / got.framesPerSecond);
        realTimePerFrame.push_back(got.load.realTime / got.framesPerSecond);
    }
};

void Compare(const Programs& programs, const Case& one)
{
    Side whole{Whole};
    Side plain{Plain};
    for (int pair = 0; pair < programs.pairs; ++pair) {
        Side& first = pair % 2 == 0 ? whole : plain;
        Side& second = pair % 2 == 0 ? plain : whole;
        first.Measure(programs, one);
        second.Measure(programs, one);
    }
    const double second = Median(whole.realTimePerFrame);
    std::printf(
        "%4lldx%-4lld %6d %9s %4.0f | %6.1f %6.1f %6.3f | %6.0f %6.0f %6.3f %7.0f %6.3f | "
        "%5.0f %5.0f\n",
        static_cast<long long>(one.width), static_cast<long long>(one.height), one.packetSize,
        one.name, one.fps, Median(whole.framesPerSecond), Median(plain.framesPerSecond),
        Median(whole.framesPerSecond) / Median(plain.framesPerSecond), Median(whole.cpuPerFrame),
        Median(plain.cpuPerFrame), Median(whole.cpuPerFrame) / Median(plain.cpuPerFrame), second,
        (Median(whole.cpuPerFrame) - second) / Median(plain.cpuPerFrame), Median(whole.missed),
        Median(plain.missed));
    std::fflush(stdout);
}

bool IsSustained(const Programs& programs, const Case& one)
{
    const Run run = Plain(programs, one, kStepS);
    return run.missed <= one.fps * kStepS * kMissedAtMost &&
           run.framesPerSecond >= one.fps * kSustained;
}

/** At the highest rate that is sustained, and at the one below. */
void CompareAtItsRates(const Programs& programs, Case one)
{
    std::size_t step = 0;
    for (; step < std::size(kLadder); ++step) {
        one.fps = kLadder[step];
        if (!IsSustained(programs, one) && !IsSustained(programs, one)) {
            break;
        }
    }
    step = std::max<std::size_t>(step, 2); // a moment's disturbance must not end it all
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
    std::printf("whole: kvgrab, driver and platform; plain: the network library alone; medians of "
                "%d pairs of %g s\n2nd: the driver's second thread, 500 passes a second at any "
                "frame rate\n",
                programs.pairs, programs.seconds);
    std::printf("image     packet      rate   |   frames per second  |            CPU us a frame   "
                "           |  missed\n");
    std::printf(
        "                             |  whole  plain    w/p |  whole  plain    w/p     2nd "
        "(w-2nd)/p | whole plain\n");
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
    app.add_option("--pairs", programs.pairs, "pairs of runs in each case");
    app.add_option("--seconds", programs.seconds, "length of a run");
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
