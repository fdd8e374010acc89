#include "benchmarks/network/runs.h"

#include "benchmarks/network/loop.h"

#include <fmt/format.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace bench
{

namespace
{

constexpr double kLongestStartS = 30; ///< of a program, and its end
constexpr double kSlowest = 5;        ///< how many times longer than planned a run may take
constexpr double kWatched = 0.6;      ///< of a run
constexpr double kSlowestRate = 0.25; ///< of the wanted one; slower: the setting wasn't taken

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

/** A run of so many seconds. Its load is measured without its start and its end. */
Outcome RunWell(const std::vector<std::string>& words, Rights rights, double seconds,
                double watchedS, pid_t camera)
{
    Outcome outcome =
        RunProgram(words, rights, kSlowest * seconds + kLongestStartS, watchedS, camera);
    if (outcome.hung) {
        GiveUp(fmt::format("{} didn't end", words.front()), outcome.output);
    }
    if (!outcome.ended) {
        GiveUp(fmt::format("{} failed", words.front()), outcome.output);
    }
    if (watchedS > 0 && !outcome.measured) {
        GiveUp("the run was too short to be measured", outcome.output);
    }
    return outcome;
}

Load PerFrame(const Load& load, double framesPerSecond)
{
    return {load.receiver / framesPerSecond, load.program / framesPerSecond,
            load.sender / framesPerSecond};
}

Run RunWhole(const Programs& programs, const Case& one, const Camera& camera, double seconds,
             double watchedS)
{
    const std::string config = programs.folder + "/kvgrab.toml";
    std::ofstream(config) << "[cameras]\nbackends = \"net\"\n[stream]\npacket_size = "
                          << one.packetSize << "\nbuffers = " << programs.buffers
                          << "\n[region]\noffset_x = 0\noffset_y = 0\nwidth = " << one.width
                          << "\nheight = " << one.height
                          << "\n[exposure]\nmode = \"manual\"\ntime_us = " << kExposureUs
                          << "\n[features]\nWidth = " << one.width << "\nHeight = " << one.height
                          << "\nExposureTime = " << kExposureUs
                          << "\nAcquisitionFrameRate = " << one.fps
                          << "\n[memory]\nname = \"/kvgrab-network-bench\"\n";
    const Outcome outcome =
        RunWell({programs.kvgrab, "run", "--config", config, "--no-status", "--no-retry",
                 "--socket", "none", "--frames", std::to_string(std::llround(one.fps * seconds))},
                Rights::All, seconds, watchedS, camera.Pid());
    Run run;
    run.received = NumberAfter(outcome.output, "\ngrabbed ");
    run.lost = NumberAfter(outcome.output, "dropped ");
    // The time is that of the whole session, so it only shows whether the camera took the rate.
    const double fps = run.received / NumberAfter(outcome.output, ", time ");
    if (fps < one.fps * kSlowestRate) {
        GiveUp(fmt::format("kvgrab grabbed only {:.1f} frames per second", fps), outcome.output);
    }
    run.framesPerSecond = one.fps;
    run.load = PerFrame(outcome.load, run.framesPerSecond);
    return run;
}

std::vector<std::string> CameraWords(const Programs& programs,
                                     const std::vector<std::string>& faults)
{
    std::vector<std::string> words;
    if (!programs.cameraNamespace.empty()) {
        words = {"nsenter", fmt::format("--net={}", programs.cameraNamespace)};
    }
    std::istringstream text(programs.camera);
    for (std::string word; text >> word;) {
        words.push_back(word);
    }
    words.insert(words.end(), {"--address", programs.address});
    for (const std::string& fault : faults) {
        words.insert(words.end(), {"--fault", fault});
    }
    return words;
}

} // namespace

Camera::Camera(const Programs& programs, const std::vector<std::string>& faults)
    : process_(CameraWords(programs, faults))
{
    std::this_thread::sleep_for(std::chrono::seconds(1));
    if (!process_.IsRunning()) {
        GiveUp("the camera doesn't start", programs.camera);
    }
}

Run RunSide(Side side, const Programs& programs, const Case& one, const Camera& camera,
            double seconds, bool watched, std::uint64_t damagedEvery)
{
    const double watchedS = watched ? seconds * kWatched : 0;
    if (side == Side::Whole) {
        return RunWhole(programs, one, camera, seconds, watchedS);
    }
    std::vector<std::string> words = {
        programs.self,     side == Side::Own ? "--platform-loop" : "--plain-loop",
        "--address",       programs.address,
        "--width",         std::to_string(one.width),
        "--height",        std::to_string(one.height),
        "--fps",           fmt::format("{}", one.fps),
        "--packet-size",   std::to_string(one.packetSize),
        "--buffers",       std::to_string(programs.buffers),
        "--frames",        std::to_string(std::llround(one.fps * seconds)),
        "--damaged-every", std::to_string(damagedEvery)};
    if (side == Side::LibraryPacket) {
        words.emplace_back("--packet-socket");
    }
    const Rights rights = side == Side::LibraryPacket ? Rights::All : Rights::None;
    const Outcome outcome = RunWell(words, rights, seconds, watchedS, camera.Pid());
    Run run;
    run.received = NumberAfter(outcome.output, "received ");
    run.lost = NumberAfter(outcome.output, " lost ");
    run.spared = NumberAfter(outcome.output, " spared ");
    run.resent = NumberAfter(outcome.output, " resent ");
    const double us = NumberAfter(outcome.output, " took ");
    run.framesPerSecond = us <= 0 ? 0 : NumberAfter(outcome.output, " sent ") / us * 1e6;
    run.load = PerFrame(outcome.load, run.framesPerSecond);
    return run;
}

} // namespace bench
