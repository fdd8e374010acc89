/** Compares receiving frames from a network camera with the network library alone, in turns on one
 *  camera. Prints medians of each side, and of the ratios of the runs of one turn.
 *
 *  A camera has no flow control: at a rate that is too high for the machine, frames are lost. Each
 *  table shows what was lost; a ratio of sides that lose frames says nothing.
 *
 *  Part of the kernel's work is charged to whichever program happens to run, so sums of sender and
 *  receiver are shown, too. */
#include "benchmarks/median.h"
#include "benchmarks/network/loop.h"
#include "benchmarks/network/runs.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

using bench::Camera;
using bench::Case;
using bench::Median;
using bench::MedianRatio;
using bench::Programs;
using bench::Run;
using bench::RunSide;
using bench::Side;

constexpr Case kCases[] = {
    {640, 480, 1500, 200}, {640, 480, 9000, 200}, {1920, 1080, 1500, 100}, {1920, 1080, 9000, 100}};
constexpr Case kFastCases[] = {
    {640, 480, 1500, 200}, {640, 480, 9000, 200}, {640, 480, 9000, 400}, {1920, 1080, 9000, 200}};
constexpr Case kLossCases[] = {{1920, 1080, 1500, 100}, {1920, 1080, 9000, 100}};

constexpr double kHighestRate = 1000; ///< of the camera, in frames per second
constexpr double kSearchS = 1;        ///< length of a run of the search
constexpr double kStep = 1.05;        ///< from one rate of the search to the next
constexpr int kSteps = 63;            ///< from the highest rate down; the search fails there
constexpr double kSustained = 0.97;   ///< of the requested rate
constexpr std::uint64_t kDamagedEvery = 4;

using Sides = std::vector<Side>;
using Runs = std::map<Side, std::vector<Run>>;

/** Runs of each side in turns; each turn begins with another side. */
Runs InTurns(Sides sides, const Programs& programs, const Case& one, const Camera& camera,
             std::uint64_t damagedEvery = 0)
{
    Runs runs;
    for (int turn = 0; turn < programs.turns; ++turn) {
        for (const Side side : sides) {
            runs[side].push_back(
                RunSide(side, programs, one, camera, programs.seconds, true, damagedEvery));
        }
        std::rotate(sides.begin(), sides.begin() + 1, sides.end());
    }
    return runs;
}

template <class Value> std::vector<double> Each(const std::vector<Run>& runs, Value value)
{
    std::vector<double> values;
    for (const Run& run : runs) {
        values.push_back(value(run));
    }
    return values;
}

template <class Value> double Sum(const std::vector<Run>& runs, Value value)
{
    double sum = 0;
    for (const Run& run : runs) {
        sum += value(run);
    }
    return sum;
}

double Thread(const Run& run)
{
    return run.load.receiver;
}
double Program(const Run& run)
{
    return run.load.program;
}
double Total(const Run& run)
{
    return run.load.program + run.load.sender;
}
double Lost(const Run& run)
{
    return run.lost;
}

std::string Name(const Case& one)
{
    return fmt::format("{:4}x{:<4} {:6} {:5.0f}", one.width, one.height, one.packetSize, one.fps);
}

void Say(const std::string& line)
{
    std::puts(line.c_str());
    std::fflush(stdout);
}

/** "of" and "to" with their medians, and the median of their ratios. */
template <class Value>
std::string Ratio(const std::vector<Run>& of, const std::vector<Run>& to, Value value)
{
    const auto left = Each(of, value);
    const auto right = Each(to, value);
    return fmt::format("{:6.0f} {:6.0f} {:6.3f}", Median(left), Median(right),
                       MedianRatio(left, right));
}

void CompareReceivers(const Programs& programs)
{
    Say("receiving: own receiver without any capability; the library's UDP socket, likewise; its\n"
        "packet socket. CPU us a frame: of the thread that receives; of sender and receiver\n"
        "image     packet   fps |          thread          |    sender and receiver     |  lost\n"
        "                       |    own    udp   o/u   |    own packet    o/p | own udp packet");
    const Camera camera(programs);
    for (const Case& one : kCases) {
        const Runs runs =
            InTurns({Side::Own, Side::LibraryUdp, Side::LibraryPacket}, programs, one, camera);
        const auto& own = runs.at(Side::Own);
        const auto& udp = runs.at(Side::LibraryUdp);
        const auto& packet = runs.at(Side::LibraryPacket);
        Say(fmt::format("{} | {} | {} | {:.0f} {:.0f} {:.0f}", Name(one), Ratio(own, udp, Thread),
                        Ratio(own, packet, Total), Sum(own, Lost), Sum(udp, Lost),
                        Sum(packet, Lost)));
    }
}

void CompareWholePaths(const Programs& programs)
{
    Say("whole path: kvgrab, driver with both threads, and platform; udp, packet: a loop of the\n"
        "library without accesses to the camera, on its UDP socket without any capability, and on\n"
        "its packet socket. CPU us a frame\n"
        "                       |            program, all threads             |             "
        "sender and receiver             | lost\n"
        "image     packet   fps |  whole    udp    w/u |  whole packet    w/p |  whole    udp    "
        "w/u |  whole packet    w/p | whole udp packet");
    const Camera camera(programs);
    for (const Case& one : kFastCases) {
        const Runs runs =
            InTurns({Side::Whole, Side::LibraryUdp, Side::LibraryPacket}, programs, one, camera);
        const auto& whole = runs.at(Side::Whole);
        const auto& udp = runs.at(Side::LibraryUdp);
        const auto& packet = runs.at(Side::LibraryPacket);
        Say(fmt::format("{} | {} | {} | {} | {} | {:.0f} {:.0f} {:.0f}", Name(one),
                        Ratio(whole, udp, Program), Ratio(whole, packet, Program),
                        Ratio(whole, udp, Total), Ratio(whole, packet, Total), Sum(whole, Lost),
                        Sum(udp, Lost), Sum(packet, Lost)));
    }
}

bool IsLossless(Side side, const Programs& programs, Case one, const Camera& camera, double fps)
{
    one.fps = fps;
    for (int attempt = 0; attempt < 2; ++attempt) { // a short disturbance must not end the search
        const Run run = RunSide(side, programs, one, camera, kSearchS, false);
        if (run.lost == 0 && run.framesPerSecond >= fps * kSustained) {
            return true;
        }
    }
    return false;
}

/** Frames per second; 0 if there is no such rate. Bisects the rates that are a step apart. */
double HighestLosslessRate(Side side, const Programs& programs, const Case& one,
                           const Camera& camera)
{
    const auto rate = [](int step) { return kHighestRate / std::pow(kStep, step); };
    int good = kSteps; // steps below the highest rate
    int bad = -1;
    while (good - bad > 1) {
        const int middle = (good + bad) / 2;
        (IsLossless(side, programs, one, camera, rate(middle)) ? good : bad) = middle;
    }
    return good == kSteps ? 0 : rate(good);
}

void CompareRates(const Programs& programs)
{
    Say(fmt::format("highest rate without a lost frame in {:g} s: own receiver without any "
                    "capability; the library's\npacket socket. At most {:g}, the camera's limit\n"
                    "image     packet |  own packet    o/p",
                    kSearchS, kHighestRate));
    const Camera camera(programs);
    for (const Case& one : kCases) {
        std::vector<double> own;
        std::vector<double> packet;
        for (int turn = 0; turn < programs.turns; ++turn) {
            own.push_back(HighestLosslessRate(Side::Own, programs, one, camera));
            packet.push_back(HighestLosslessRate(Side::LibraryPacket, programs, one, camera));
        }
        Say(fmt::format("{} | {:4.0f} {:6.0f} {:6.3f}", Name(one).substr(0, 16), Median(own),
                        Median(packet), MedianRatio(own, packet)));
    }
}

/** The frames that each side lost on one camera with faults, in all runs. */
void CountLosses(const Programs& programs, const char* name, const std::vector<std::string>& faults,
                 std::uint64_t damagedEvery)
{
    const Camera camera(programs, faults);
    for (const Case& one : kLossCases) {
        const Runs runs =
            InTurns({Side::Own, Side::LibraryPacket}, programs, one, camera, damagedEvery);
        std::string line = fmt::format("{} {:<18}", Name(one), name);
        for (const Side side : {Side::Own, Side::LibraryPacket}) {
            const auto& all = runs.at(side);
            const double received = Sum(all, [](const Run& run) { return run.received; });
            line += fmt::format(" | {:6.0f} {:5.0f} {:6.0f} {:6.0f}", received + Sum(all, Lost),
                                Sum(all, Lost), Sum(all, [](const Run& run) { return run.spared; }),
                                Sum(all, [](const Run& run) { return run.resent; }));
        }
        Say(line);
    }
}

void CompareLosses(const Programs& programs)
{
    Say(fmt::format(
        "frames lost. answered: 0.1 % of the packets get lost, the camera sends them "
        "again on request.\nignored: each {}th frame lacks a packet, and requests are "
        "ignored; spared: lost, although no packet was\n"
        "                                          |            own receiver    |    "
        "library's packet socket\n"
        "image     packet   fps requests are       | frames  lost spared resent | frames "
        " lost spared resent",
        kDamagedEvery));
    CountLosses(programs, "answered", {"lose ratio=0.001"}, 0);
    CountLosses(programs, "ignored",
                {fmt::format("lose packet=50 every={}", kDamagedEvery), "ignore-resend"},
                kDamagedEvery);
}

struct Part {
    const char* name;
    void (*compare)(const Programs&);
};
constexpr Part kParts[] = {{"receiving", CompareReceivers},
                           {"rate", CompareRates},
                           {"whole", CompareWholePaths},
                           {"losses", CompareLosses}};

/** A camera without limits of its own: a fast sensor, a fast link, a cheap picture. */
std::string DescribeCamera(const std::string& folder)
{
    const std::string path = folder + "/camera.toml";
    std::ofstream(path)
        << "[[camera]]\nserial = \"BENCH\"\npicture = \"plain\"\nline_readout_us = 0.5\n"
           "link_mbytes_per_second = 0\n";
    return path;
}

void CompareAll(Programs programs, const std::vector<std::string>& names)
{
    std::string place = (std::filesystem::temp_directory_path() / "network_bench.XXXXXX").string();
    if (mkdtemp(place.data()) == nullptr) {
        throw std::runtime_error("no folder for the configuration");
    }
    const auto remove = [](const std::string* folder) { std::filesystem::remove_all(*folder); };
    const std::unique_ptr<std::string, decltype(remove)> owner(&place, remove);
    programs.folder = place;
    programs.camera += fmt::format(" --network {}", DescribeCamera(place));
    Say(fmt::format("medians of {} turns of {:g} s, also of their ratios", programs.turns,
                    programs.seconds));
    for (const Part& part : kParts) {
        if (names.empty() || std::find(names.begin(), names.end(), part.name) != names.end()) {
            Say("");
            part.compare(programs);
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app("Compares receiving frames with the network library alone.", "network_bench");
    const std::string folder = std::filesystem::canonical("/proc/self/exe").parent_path();
    Programs programs;
    programs.self = folder + "/network_bench";
    programs.kvgrab = folder + "/kvgrab";
    programs.camera = folder + "/kvcam";
    programs.address = "127.0.0.1";
    std::vector<std::string> names;
    std::vector<std::string> parts;
    for (const Part& part : kParts) {
        names.emplace_back(part.name);
    }
    bench::LoopPlan plan;
    bool plain = false;
    bool platform = false;
    app.add_option("--part", parts, "only these tables")->check(CLI::IsMember(names));
    app.add_option("--camera", programs.camera,
                   "program of the camera, with its arguments; it takes kvcam's options --network, "
                   "--address and --fault");
    app.add_option("--address", programs.address, "where the camera is")
        ->envname("NETWORK_BENCH_ADDRESS");
    app.add_option("--camera-namespace", programs.cameraNamespace,
                   "file of the network namespace that the camera runs in")
        ->envname("NETWORK_BENCH_CAMERA_NAMESPACE");
    app.add_option("--turns", programs.turns, "runs of each side in each case")
        ->check(CLI::Range(1, 1000));
    app.add_option("--seconds", programs.seconds, "length of a run")
        ->check(CLI::Range(2.0, 3600.0));
    app.add_option("--buffers", programs.buffers, "frame buffers");
    auto* const own = app.add_flag("--platform-loop", platform, "only the own side, once");
    app.add_flag("--plain-loop", plain, "only the library's side, once")->excludes(own);
    app.add_option("--width", plan.width);
    app.add_option("--height", plan.height);
    app.add_option("--fps", plan.fps);
    app.add_option("--packet-size", plan.packetSize);
    app.add_option("--frames", plan.frames);
    app.add_option("--damaged-every", plan.damagedEvery);
    app.add_flag("--packet-socket", plan.packetSocket);
    CLI11_PARSE(app, argc, argv);
    plan.address = programs.address;
    plan.buffers = programs.buffers;
    if (plain || platform) {
        return plain ? bench::RunPlainLoop(plan) : bench::RunPlatformLoop(plan);
    }
    try {
        CompareAll(programs, parts);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "network_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
