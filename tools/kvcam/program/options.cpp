#include "tools/kvcam/program/options.h"

#include <CLI/CLI.hpp>

namespace kvcam
{

std::optional<Options> ReadOptions(int argc, char** argv, int* exitCode)
{
    Options options;
    double seconds = 0;
    CLI::App app("GigE Vision cameras on addresses of this machine, until a signal ends them.",
                 "kvcam");
    app.option_defaults()->always_capture_default();
    auto* const address = app.add_option("--address", options.addresses,
                                         "IPv4 address of a camera; several make several cameras");
    auto* const serial = app.add_option("--serial", options.serials,
                                        "its serial number, up to 15 characters; several likewise");
    for (CLI::Option* const list : {address, serial}) {
        list->delimiter(',')->expected(1)->take_all()->allow_extra_args(false);
    }
    auto* const model =
        app.add_option("--model", options.model, "model's name, up to 31 characters");
    auto* const maker =
        app.add_option("--maker", options.maker, "maker's name, up to 31 characters");
    auto* const color = app.add_flag("--color", options.color, "a colour camera");
    auto* const network = app.add_option("--network", options.network,
                                         "description of a simulated network; its "
                                         "cameras are at successive addresses");
    for (CLI::Option* const own : {serial, model, maker, color}) {
        network->excludes(own);
    }
    app.add_option("--fault", options.faults, "kind and settings, such as \"slow-command ms=3\"")
        ->expected(1)
        ->take_all()
        ->allow_extra_args(false);
    app.add_option("--resend-depth", options.resendDepth,
                   "so many frames are kept and sent again on request; 0: none")
        ->check(CLI::Range(0, 1024));
    app.add_flag("--extended-ids", options.extendedIds, "frame numbers have 64 bits, not 16");
    app.add_flag("--extended-chunks", options.extendedChunks,
                 "frames with chunk data have payload type 0x4001, not 4");
    app.add_flag("--segments", options.segments,
                 "sends with UDP segmentation offload; clients with packet sockets can't follow");
    app.add_option("--description", options.description,
                   "file in place of the features' generated description");
    app.add_flag("--print-description", options.printDescription,
                 "prints the first camera's description of its features and ends");
    app.add_option("--ready-file", options.readyFile, "made when the cameras answer");
    app.add_option("--duration", seconds, "ends after so many seconds; 0: never")
        ->check(CLI::NonNegativeNumber);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        *exitCode = app.exit(error);
        return std::nullopt;
    }
    if (seconds > 0) {
        options.duration = std::chrono::duration<double>(seconds);
    }
    return options;
}

} // namespace kvcam
