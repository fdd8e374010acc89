#include "config/options.h"

#include "base/printable.h"
#include "config/help.h"
#include "exit_status.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <ostream>

namespace kvgrab
{

namespace
{

class HelpText : public CLI::Formatter
{
public:
    std::string make_usage(const CLI::App*, std::string) const override
    {
        std::string lines;
        for (const base::CommandHelp& command : Help().commands) {
            if (command.name != "run") { // it is in the first line, with the program itself
                lines += fmt::format("{} kvgrab {}\n", lines.empty() ? "Usage:" : "      ",
                                     command.usage);
            }
        }
        return lines;
    }

    std::string make_option_desc(const CLI::Option* option) const override
    {
        return base::Wrapped(option->get_description(), base::kHelpColumns - get_column_width());
    }

    std::string make_footer(const CLI::App*) const override
    {
        return fmt::format("\n{}", base::TextOf(Help().sections));
    }

    /** A command other than run shows its own line and options and those that it shares. */
    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode mode) const override
    {
        const CLI::App* const whole = app->get_parent();
        if (whole == nullptr || app->get_name() == "run") {
            return CLI::Formatter::make_help(whole == nullptr ? app : whole, name, mode);
        }
        const base::CommandHelp& help = *Help().Command(app->get_name());
        const std::string sections = base::TextOf(help.sections);
        return fmt::format(
            "{}Usage: kvgrab {}\n{}{}{}{}{}\n"
            "kvgrab --help lists all options, with examples, signals and exit statuses.\n",
            make_description(app), help.usage, make_positionals(app), sections.empty() ? "" : "\n",
            sections, make_groups(app, mode),
            make_group("Options of kvgrab", false,
                       whole->get_options([&help](const CLI::Option* option) {
                           const auto& shared = help.programsOptions;
                           return std::find(shared.begin(), shared.end(), option->get_name()) !=
                                  shared.end();
                       })));
    }
};

/** Like CLI::Range, but refuses NaN. */
CLI::Validator Between(double low, double high)
{
    return CLI::Validator(
        [low, high](std::string& text) {
            double value = 0;
            if (CLI::detail::lexical_cast(text, value) && value >= low && value <= high) {
                return std::string();
            }
            return fmt::format("{} is not a number from {} to {}", text, low, high);
        },
        "");
}

template <class Value> CLI::Validator NameIn(base::Names<Value> rows)
{
    std::vector<std::string> names;
    for (const std::string_view name : base::NameList<Value>(rows)) {
        names.emplace_back(name);
    }
    return CLI::IsMember(names);
}

/** The value that the name of an option represents, if the option is given. */
template <class Value>
std::optional<Value> Chosen(base::Names<Value> rows, const std::optional<std::string>& name)
{
    return name ? base::ValueIn<Value>(rows, *name) : std::nullopt;
}

void AddOptions(CLI::App& app, Options* options)
{
    const CLI::Validator memoryName(
        [](std::string& name) {
            return NormalizeMemoryName(&name)
                       ? std::string()
                       : fmt::format("{} is no name of a shared memory, such as /kvgrab", name);
        },
        "");
    // A user may append options to those of a script: the last one wins.
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    app.add_option("-c,--config", options->configPath, "configuration file (TOML)")
        ->option_text("FILE");
    app.add_option("--cameras", options->backends,
                   "simulated cameras (the default), cameras on the network, or both")
        ->option_text("sim|net|all")
        ->check(NameIn<Backends>(kBackendNames));
    app.add_option("--interface", options->interface,
                   "look for network cameras on this network interface alone")
        ->option_text("INTERFACE");
    app.add_option("--model", options->model, "use a camera whose model begins with this")
        ->option_text("TEXT");
    app.add_option("--serial", options->serial, "use the camera with this serial number")
        ->option_text("TEXT");
    app.add_option("--position", options->positions,
                   "use the camera at this position of the list; may be repeated")
        ->option_text("0..7")
        ->take_all()
        ->check(CLI::Range(0, 7));
    app.add_option("--format", options->format, "pixel format; the default is mono8")
        ->option_text("mono8|mono12p|mono12|yuv422|bayer8")
        ->check(NameIn<std::uint32_t>(kFormatNames));
    app.add_option("-n,--frames", options->frames,
                   "end after so many frames; 0, the default: go on until a signal comes")
        ->option_text("N");
    app.add_option("--buffers", options->buffers, "frame buffers; the default is 8")
        ->option_text("2..256")
        ->check(CLI::Range(2, 256));
    app.add_option("--packet-size", options->packetSize,
                   "network packet size in bytes; the default is 1500")
        ->option_text("576..65535")
        ->check(CLI::Range(576, 65535));
    app.add_option("-e,--export", options->exportFormat,
                   "write each frame to a picture file in this format; -: to standard output")
        ->option_text("png|raw|none|-")
        ->check(CLI::IsMember({"png", "raw", "none", "-"}));
    app.add_option("--stream-format", options->streamFormat,
                   "format of the frames on standard output; the default is raw")
        ->option_text("raw|pnm|y4m")
        ->check(CLI::IsMember({"raw", "pnm", "y4m"}));
    app.add_option("-d,--directory", options->directory,
                   "folder of the picture files; the default is frames")
        ->option_text("FOLDER")
        ->check(CLI::Validator(
            [](std::string& path) {
                return path.empty() ? std::string("the folder's name is empty") : std::string();
            },
            ""));
    app.add_flag("--every-frame", options->everyFrame,
                 "let grabbing wait for the writers instead of skipping frames");
    app.add_flag("--overwrite", options->overwrite,
                 "replace files that exist, such as pictures of an earlier run");
    app.add_option("--memory", options->memoryName,
                   "name of the shared frame memory; the default is /kvgrab")
        ->option_text("/NAME")
        ->transform(memoryName);
    app.add_option("--socket", options->socket,
                   "path of the control socket; auto, the default, follows from --memory")
        ->option_text("FILE|auto|none");
    app.add_option("--simulation", options->simulation,
                   "description of the simulated cameras (TOML)")
        ->option_text("FILE");
    app.add_option("--replay", options->replayFolder,
                   "play the pictures of an exported folder back, as if a camera sent them")
        ->option_text("FOLDER");
    app.add_flag("--replay-fast", options->replayFast,
                 "with --replay: as fast as possible, not at the recorded times")
        ->option_text(" ");
    app.add_flag("--replay-loop", options->replayLoop, "with --replay: begin again at the end")
        ->option_text(" ");
    app.add_option("--driver", options->driverPath,
                   "load this driver library instead of the installed one")
        ->option_text("FILE");
    app.add_option("--log-file", options->logFile, "append the whole log to a file")
        ->option_text("FILE");
    app.add_option("--trace", options->traceFile,
                   "record when and how each frame came (CSV, also for stamps_bench)")
        ->option_text("FILE");
    app.add_option("--log-level", options->logLevel,
                   "log lines of this level and more severe ones; the default is info")
        ->option_text("error|warning|info|detail|trace")
        ->check(NameIn<int>(kLevelNames));
    app.add_flag("-v,--verbose", options->verbose,
                 "show all lines of the driver, not only its warnings and errors");
    app.add_flag("--no-status", options->noStatus, "show no status line on the terminal");
    app.add_flag("--show-lines", options->showLines,
                 "at the end, draw what the output lines of simulated cameras did");
    app.add_flag("--strict", options->strict,
                 "fail if the camera doesn't take a setting (run) or isn't there (check)");
    app.add_flag("--no-retry", options->noRetry,
                 "end when there is no camera or it fails, instead of trying again");
    app.add_option("--retry-interval", options->retryIntervalS,
                   "seconds before the first new attempt; it doubles, up to 30 s")
        ->option_text("SECONDS")
        ->check(Between(0.1, 3600));
    const auto group = [&app](const char* title, std::initializer_list<const char*> names) {
        for (const char* name : names) {
            app.get_option(name)->group(title);
        }
    };
    group("Which camera (all commands)",
          {"--config", "--cameras", "--interface", "--model", "--serial", "--position",
           "--simulation", "--replay", "--replay-fast", "--replay-loop"});
    group("Grabbing", {"--format", "--frames", "--buffers", "--packet-size", "--memory", "--socket",
                       "--driver", "--strict", "--no-retry", "--retry-interval"});
    group("Pictures",
          {"--export", "--stream-format", "--directory", "--every-frame", "--overwrite"});
    group("Log and terminal",
          {"--log-file", "--log-level", "--verbose", "--no-status", "--trace", "--show-lines"});
    CLI::Option* const replay = app.get_option("--replay");
    for (const char* name : {"--cameras", "--interface", "--model", "--serial", "--position",
                             "--simulation", "--format"}) {
        replay->excludes(app.get_option(name)); // the recording says all that
    }
    app.get_option("--replay-fast")->needs(replay);
    app.get_option("--replay-loop")->needs(replay);
}

/** The commands that read and change features. `add` makes a command. */
template <class Add> void AddFeatureCommands(const Add& add, Options* options)
{
    using Command = Options::Command;
    CLI::App* const features =
        add("features", "print, save or load what a camera has", Command::Features);
    features->add_option("--load", options->loadFile, "first set what such a file (TOML) says")
        ->option_text("FILE");
    features->add_option("--save", options->saveFile, "save the settings in a file (TOML)")
        ->option_text("FILE");
    CLI::App* const get = add("get", "print values of features", Command::Get);
    CLI::App* const set = add("set", "set features", Command::Set);
    CLI::App* const execute = add("execute", "execute a command of the camera", Command::Execute);
    get->add_flag("--table", options->table, "with type, access, unit and range");
    const auto takes = [options](CLI::App* command, const char* what, const char* example) {
        CLI::Option* const names = command->add_option(what, options->arguments, example);
        return names->option_text(" ")->required()->take_all();
    };
    takes(get, "FEATURE...", "such as Width or Gain[DigitalAll]")->expected(-1);
    takes(set, "FEATURE=VALUE...", "such as Width=640; selectors first")->expected(-1);
    takes(execute, "COMMAND", "such as TriggerSoftware")->expected(1);
}

} // namespace

std::unique_ptr<CLI::App> CommandLine(Options* options)
{
    auto app = std::make_unique<CLI::App>(
        "Grabs frames from a camera into shared memory and picture files.", "kvgrab");
    const auto texts = std::make_shared<HelpText>();
    texts->label("Positionals", "Arguments");
    app->formatter(texts);
    app->set_help_flag("-h,--help", "show this help");
    app->set_version_flag("--version", "kvgrab " KVGRAB_VERSION, "show the version");
    app->require_subcommand(0, 1);
    AddOptions(*app, options);
    const auto add = [&](const char* name, const char* description, Options::Command command) {
        CLI::App* const added = app->add_subcommand(name, description);
        added->callback([options, command] { options->command = command; });
        return added;
    };
    add("run", "grab frames (also without this word)", Options::Command::Run);
    add("list", "list the cameras, and which of them the driver takes", Options::Command::List);
    AddFeatureCommands(add, options);
    add("check", "compare a configuration with the camera, without grabbing",
        Options::Command::Check)
        ->add_option("CONFIG", options->configPath, "configuration file, as with --config")
        ->option_text(" ");
    CLI::App* const control =
        add("ctl", "ask a running kvgrab something, or control it", Options::Command::Control);
    control->add_flag("--json", options->json, "print JSON");
    control->add_option("ACTION", options->arguments, "one of those below, and its arguments")
        ->option_text(" ")
        ->required()
        ->take_all()
        ->expected(-1);
    for (CLI::App* command : app->get_subcommands({})) {
        command->fallthrough();
        command->group("Commands");
        command->set_help_flag();
    }
    return app;
}

bool ParseOptions(int argc, const char* const* argv, Options* options, int* exitStatus,
                  std::ostream& out, std::ostream& err)
{
    const std::unique_ptr<CLI::App> app = CommandLine(options);
    try {
        app->parse(argc, argv);
    } catch (const CLI::Success& asked) { // --help, --version
        app->exit(asked, out, err);
        *exitStatus = static_cast<int>(ExitStatus::Done);
        return false;
    } catch (const CLI::ParseError& error) {
        err << "kvgrab: " << base::Printable(error.what(), "\n")
            << "\nkvgrab --help lists the options.\n";
        *exitStatus = static_cast<int>(ExitStatus::Usage);
        return false;
    }
    return true;
}

const char* Version()
{
    return KVGRAB_VERSION;
}

void ApplyOverrides(const Options& options, Config* config)
{
    const auto put = [](const auto& given, auto* value) {
        if (given) {
            *value = *given;
        }
    };
    put(options.model, &config->camera.model);
    put(options.serial, &config->camera.serial);
    if (!options.positions.empty()) {
        // The option alone chooses these positions, whatever the file names.
        const CameraConfig named = config->camera;
        config->camera = {};
        config->camera.model = options.model ? named.model : "";
        config->camera.serial = options.serial ? named.serial : "";
    }
    for (const int position : options.positions) {
        config->camera.positionMask |= 1U << static_cast<unsigned>(position);
    }
    put(options.frames, &config->session.frames);
    put(options.buffers, &config->stream.buffers);
    put(options.packetSize, &config->stream.packetSize);
    put(options.exportFormat, &config->exporting.format);
    put(options.streamFormat, &config->exporting.streamFormat);
    put(options.directory, &config->exporting.directory);
    config->exporting.everyFrame = config->exporting.everyFrame || options.everyFrame;
    config->exporting.overwrite = config->exporting.overwrite || options.overwrite;
    put(options.memoryName, &config->memory.name);
    if (options.simulation) {
        // Relative to the current folder; in the file a path is relative to the file's folder.
        config->simulation.network = std::filesystem::absolute(*options.simulation).string();
    }
    if (options.replayFolder) {
        config->camera = {};
        config->cameras = {};
        config->simulation = {};
    }
    put(options.socket, &config->control.socket);
    put(options.logFile, &config->log.file);
    put(options.retryIntervalS, &config->session.retryIntervalS);
    config->session.retry = config->session.retry && !options.noRetry;
    if (const auto backends = Chosen<Backends>(kBackendNames, options.backends)) {
        config->cameras.simulated = backends->simulated;
        config->cameras.network = backends->network;
    }
    put(options.interface, &config->cameras.interface);
    put(Chosen<std::uint32_t>(kFormatNames, options.format), &config->image.format);
    put(Chosen<int>(kLevelNames, options.logLevel), &config->log.level);
}

} // namespace kvgrab
