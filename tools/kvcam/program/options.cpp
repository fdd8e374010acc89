#include "tools/kvcam/program/options.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace kvcam
{

namespace
{

class HelpText : public CLI::Formatter
{
public:
    std::string make_usage(const CLI::App*, std::string) const override
    {
        return fmt::format("Usage: kvcam {}\n", Help().commands.front().usage);
    }
    std::string make_option_desc(const CLI::Option* option) const override
    {
        return base::Wrapped(option->get_description(), base::kHelpColumns - get_column_width());
    }

    std::string make_footer(const CLI::App*) const override
    {
        return fmt::format("\n{}", base::TextOf(Help().sections));
    }
};

} // namespace

std::unique_ptr<CLI::App> CommandLine(Options* options)
{
    auto app = std::make_unique<CLI::App>(
        "Puts simulated cameras on the network as GigE Vision cameras, until a signal ends it.",
        "kvcam");
    app->formatter(std::make_shared<HelpText>());
    app->set_help_flag("-h,--help", "show this help");
    app->set_version_flag("--version", "kvcam " KVCAM_VERSION, "show the version");
    const auto add = [&app](const char* name, auto& value, const char* what, const char* text) {
        return app->add_option(name, value, text)->option_text(what);
    };
    CLI::Option* const address =
        add("--address", options->addresses, "ADDRESS",
            "IPv4 address of a camera, one of this machine; the default is 127.0.0.1. Repeated, or "
            "a list with commas: one camera at each");
    CLI::Option* const serial =
        add("--serial", options->serials, "TEXT",
            "serial number, up to 15 characters; the default is KV000001. May be repeated, too; "
            "further cameras count it up");
    for (CLI::Option* const list : {address, serial}) {
        list->delimiter(',')->expected(1)->take_all()->allow_extra_args(false);
    }
    CLI::Option* const model =
        add("--model", options->model, "TEXT",
            "name of the model, up to 31 characters; the default is Loopback");
    CLI::Option* const maker =
        add("--maker", options->maker, "TEXT",
            "name of the maker, up to 31 characters; the default is DALSA (kvcam)");
    CLI::Option* const color =
        app->add_flag("--color", options->color, "a colour camera instead of a monochrome one")
            ->option_text(" ");
    CLI::Option* const network =
        add("--network", options->network, "FILE",
            "description of a simulated network (TOML); its cameras are at successive addresses. "
            "Not with --serial, --model, --maker or --color");
    for (CLI::Option* const own : {serial, model, maker, color}) {
        network->excludes(own);
    }
    add("--fault", options->faults, "TEXT",
        "make the camera misbehave on the wire, see below; may be repeated")
        ->expected(1)
        ->take_all()
        ->allow_extra_args(false);
    add("--resend-depth", options->resendDepth, "0..1024",
        "keep so many frames and send their packets again on request; the default is 8")
        ->check(CLI::Range(0, 1024));
    app->add_flag("--extended-ids", options->extendedIds,
                  "number frames with 64 bits and packets with 32");
    app->add_flag("--extended-chunks", options->extendedChunks,
                  "send frames with chunk data with payload type 0x4001 instead of 4");
    app->add_flag("--segments", options->segments,
                  "let the system cut the packets (UDP segmentation offload): cheaper, but clients "
                  "with packet sockets on this machine can't follow");
    add("--description", options->description, "FILE",
        "give clients this description of the features (XML) instead of the generated one");
    app->add_flag("--print-description", options->printDescription,
                  "print the generated description of the first camera, and end");
    add("--ready-file", options->readyFile, "FILE",
        "write the addresses to this file when the cameras answer");
    add("--duration", options->durationS, "SECONDS",
        "end after so many seconds; 0, the default: only a signal ends it")
        ->check(CLI::NonNegativeNumber);
    return app;
}

std::optional<Options> ReadOptions(int argc, char** argv, int* exitCode)
{
    Options options;
    const std::unique_ptr<CLI::App> app = CommandLine(&options);
    try {
        app->parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        *exitCode = app->exit(error);
        return std::nullopt;
    }
    if (options.durationS > 0) {
        options.duration = std::chrono::duration<double>(options.durationS);
    }
    return options;
}

const char* Version()
{
    return KVCAM_VERSION;
}

} // namespace kvcam
