/** kvcam: simulated cameras as GigE Vision cameras on this machine. See docs/kvcam.md. */
#include "tools/kvcam/program/cameras.h"
#include "tools/kvcam/program/options.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <fmt/format.h>
#include <fstream>
#include <stdexcept>

namespace
{

/** Blocks INT and TERM before any thread starts, so that only the wait below receives them. */
sigset_t BlockEnds()
{
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);
    return ends;
}

void TellReady(const kvcam::Options& options, const kvcam::Cameras& cameras)
{
    if (!options.readyFile.empty()) {
        std::ofstream file(options.readyFile);
        for (const std::string& address : cameras.Addresses()) {
            file << address << '\n';
        }
        if (!file.flush()) {
            throw std::runtime_error(fmt::format("can't write '{}'", options.readyFile));
        }
    }
    for (const std::string& address : cameras.Addresses()) {
        std::printf("kvcam: ready at %s\n", address.c_str());
    }
    std::fflush(stdout);
}

void WaitForEnd(const kvcam::Options& options, const sigset_t& ends)
{
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    for (;;) {
        timespec wait{3600, 0};
        if (options.duration) {
            const std::chrono::duration<double> left = *options.duration - (Clock::now() - begin);
            if (left.count() <= 0) {
                return;
            }
            if (left.count() < static_cast<double>(wait.tv_sec)) {
                wait.tv_sec = static_cast<time_t>(left.count());
                wait.tv_nsec =
                    static_cast<long>((left.count() - static_cast<double>(wait.tv_sec)) * 1e9);
            }
        }
        if (sigtimedwait(&ends, nullptr, &wait) > 0) {
            return;
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    const sigset_t ends = BlockEnds();
    int exitCode = EXIT_SUCCESS;
    const auto options = kvcam::ReadOptions(argc, argv, &exitCode);
    if (!options) {
        return exitCode;
    }
    try {
        if (options->printDescription) {
            fmt::print("{}", kvcam::DescriptionOf(*options));
            return EXIT_SUCCESS;
        }
        const kvcam::Cameras cameras(*options);
        TellReady(*options, cameras);
        WaitForEnd(*options, ends);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kvcam: %s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
