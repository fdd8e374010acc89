#include "tools/kvcam/options.h"

#include <CLI/CLI.hpp>

#include <filesystem>

namespace kvcam
{

namespace
{

constexpr const char* kFeatureFile = "kvcam.xml";

/** The feature file next to the program, or in its place in an installation. */
std::string OwnFeatureFile()
{
    std::error_code ignored;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", ignored);
    const std::filesystem::path folder = program.parent_path();
    const std::filesystem::path candidate = folder / kFeatureFile;
    if (std::filesystem::exists(candidate, ignored)) {
        return candidate;
    }
    const std::filesystem::path up =
        std::filesystem::path(KVCAM_DATA).lexically_relative(KVCAM_BIN);
    return (folder / up / kFeatureFile).lexically_normal();
}

} // namespace

std::optional<Options> ReadOptions(int argc, char** argv, int* exitCode)
{
    Options options;
    Settings& camera = options.camera;
    double seconds = 0;
    CLI::App app("A GigE Vision camera on an address of this machine, until a signal ends it.",
                 "kvcam");
    app.option_defaults()->always_capture_default();
    app.add_option("--address", camera.address, "IPv4 address that the camera is at");
    app.add_option("--serial", camera.serial, "serial number, up to 15 characters");
    app.add_option("--model", camera.model, "model's name, up to 31 characters");
    app.add_option("--maker", camera.maker, "maker's name, up to 31 characters");
    app.add_option("--features", camera.features, "feature file; its own when left out");
    app.add_option("--lost-ratio", camera.losses.ratio, "how many of the packets get lost")
        ->check(CLI::Range(0.0, 1.0));
    auto* const packet =
        app.add_option("--lose-packet", camera.losses.packet,
                       "packet that gets lost in each frame; 0 is the leader, before the image");
    app.add_option("--lose-frames", camera.losses.frames,
                   "only frames with a number that this divides lose it")
        ->check(CLI::PositiveNumber)
        ->needs(packet);
    app.add_flag("--announce-resend", camera.announcesResend,
                 "says that it sends packets again, but never does");
    app.add_option("--payload-type", camera.payloadType,
                   "payload type in the frames' leaders, for all but chunk data");
    app.add_option("--first-number", camera.firstNumber, "number of the first frame after a start")
        ->check(CLI::Range(1, 65535));
    app.add_flag("--wrap-to-zero", camera.wrapsToZero,
                 "frame numbers go from 65535 to 0 rather than to 1");
    app.add_flag("--wide-numbers", camera.wideNumbers, "frame numbers have 64 bits, not 16");
    app.add_option("--skip-frames", camera.skipFrames,
                   "leaves out each frame with a number that this divides; 0: none")
        ->check(CLI::Validator(
            [](const std::string& text) {
                return text == "1" ? "no frame would be left" : std::string();
            },
            ""));
    app.add_flag("--chunks", camera.chunks, "sends chunk data once a client switches them on");
    app.add_option("--ready-file", options.readyFile, "made when the camera answers");
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
    if (camera.features.empty()) {
        camera.features = OwnFeatureFile();
    }
    return options;
}

} // namespace kvcam
