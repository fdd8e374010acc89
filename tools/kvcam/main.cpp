/** kvcam: a GigE Vision camera on loopback, to try a driver on the network. See README.md. */
#include "tools/kvcam/camera.h"
#include "tools/kvcam/options.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <fstream>
#include <stdexcept>

namespace
{

using Clock = std::chrono::steady_clock;

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

void TellReady(const kvcam::Options& options)
{
    if (!options.readyFile.empty() &&
        !(std::ofstream(options.readyFile) << options.camera.address << '\n').flush()) {
        throw std::runtime_error("can't write '" + options.readyFile + "'");
    }
    std::printf("kvcam: ready at %s\n", options.camera.address.c_str());
    std::fflush(stdout);
}

void Run(const kvcam::Options& options, const sigset_t& ends)
{
    kvcam::Camera camera(options.camera);
    TellReady(options);
    const auto begin = Clock::now();
    for (;;) {
        const auto pause = std::chrono::nanoseconds(camera.Tend());
        if (options.duration && Clock::now() - begin >= *options.duration) {
            return;
        }
        const timespec wait{0, pause.count()};
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
        Run(*options, ends);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kvcam: %s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
