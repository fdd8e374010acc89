#include "config/options.h"

#include "base/printable.h"
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

constexpr const char* kFooter = R"(Examples:
  kvgrab list
      shows the cameras and which of them the driver takes
  kvgrab --frames 100 --export png --directory frames
      grabs 100 frames of the first camera and writes 99 pictures
  kvgrab --config examples/kvgrab.toml --log-file kvgrab.log
      grabs for ever as the file says; the file has all lines of the driver
  kvgrab features --cameras net
      prints what the first camera on the network has, with values and limits
  kvgrab get Width ExposureTime
      prints the two values, each on a line
  kvgrab set TriggerMode=On "Gain[DigitalAll]=2"
      sets features in this order
  kvgrab features --save settings.toml
      saves everything that can be set; --load brings a camera back to it
  kvgrab ctl status
      shows what the running kvgrab does; ctl set, change, stop and others (docs/control.md)
  kvgrab check my.toml
      says what the file would set, and what the camera would not take
  kvgrab --export - --stream-format y4m | ffmpeg -f yuv4mpegpipe -i - video.mkv
      writes frames to standard output instead, for another program
  kvgrab --replay frames --export raw --every-frame --directory again
      driver and host get the pictures of an earlier run again, with its losses
  kvgrab --serial S1234567 --format mono12 --every-frame --export raw
      one certain camera, 12 bits, no frame skipped by the writers

Signals:
  INT, TERM   end after the current frame, and within 3 s; a second one, half a second later,
              leaves at once
  QUIT        end in the same way
  HUP         read the configuration file again, reopen a rotated log file
  USR1, USR2  dynamic look-up table (passed to the driver)
  Settings of exposure, gain, auto, white_balance, lut, gamma and iobox that change in the file
  are applied without a signal.

Exit status:
  0 frame count reached, or ended by a signal       10 no camera (these four: --no-retry only)
  1 an unexpected error                             11 no camera that the configuration names
  2 command line not understood                     12 camera can't be opened
  3 configuration refused                           13 camera failed, or frames stayed away
  4 driver can't be loaded                          14 frame buffers can't be used
  5 log, memory or simulated network unusable       15 camera refused the configuration or a value
  20 pictures can't be written, or none was written 16 driver ended with an unknown code
  130 left at once on a second INT or TERM          17 no running kvgrab answers (ctl)
)";

constexpr const char* kWhichCamera = "Which camera (all commands)";

class HelpText : public CLI::Formatter
{
public:
    std::string make_usage(const CLI::App*, std::string) const override
    {
        return "Usage: kvgrab [run] [options]\n       kvgrab list [options]\n"
               "       kvgrab features [--load FILE] [--save FILE] [options]\n"
               "       kvgrab get [--table] FEATURE... [options]\n"
               "       kvgrab set FEATURE=VALUE... [options]\n"
               "       kvgrab execute COMMAND [options]\n"
               "       kvgrab check [CONFIG] [options]\n"
               "       kvgrab ctl [--json] ACTION [ARGUMENT...] [options]\n";
    }

    /** A command other than run shows its own line and options and those that choose a camera. */
    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode mode) const override
    {
        const CLI::App* const whole = app->get_parent();
        if (whole == nullptr || app->get_name() == "run") {
            return CLI::Formatter::make_help(whole == nullptr ? app : whole, name, mode);
        }
        const std::string lines = make_usage(whole, name);
        const std::size_t line = lines.find(fmt::format("kvgrab {} ", app->get_name()));
        return fmt::format(
            "{}Usage: {}\n{}{}{}\n"
            "kvgrab --help lists all options, with examples, signals and exit statuses.\n",
            make_description(app), lines.substr(line, lines.find('\n', line) - line),
            make_positionals(app), make_groups(app, mode),
            make_group(kWhichCamera, false, whole->get_options([](const CLI::Option* option) {
                return option->get_group() == kWhichCamera;
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
    app.add_option("-c,--config", options->configPath, "configuration file (docs/kvgrab.md)")
        ->option_text("FILE");
    app.add_option("--cameras", options->backends,
                   "simulated cameras (sim, the default), network cameras (net), or all")
        ->option_text("sim|net|all")
        ->check(NameIn<Backends>(kBackendNames));
    app.add_option("--interface", options->interface,
                   "look for network cameras on this network interface alone")
        ->option_text("NAME");
    app.add_option("--model", options->model, "use a camera whose model begins with this")
        ->option_text("TEXT");
    app.add_option("--serial", options->serial, "use the camera with this serial number")
        ->option_text("TEXT");
    app.add_option("--position", options->positions,
                   "use the camera at this position of the list, and no other; may be repeated")
        ->option_text("0..7")
        ->take_all()
        ->check(CLI::Range(0, 7));
    app.add_option("--format", options->format,
                   "pixel format: mono8, mono12, mono12p, yuv422 or bayer8")
        ->option_text("NAME")
        ->check(NameIn<std::uint32_t>(kFormatNames));
    app.add_option("-n,--frames", options->frames,
                   "end after so many frames, of all sessions; 0: never")
        ->option_text("N");
    app.add_option("--buffers", options->buffers, "frame buffers")
        ->option_text("2..256")
        ->check(CLI::Range(2, 256));
    app.add_option("--packet-size", options->packetSize, "network packet size in bytes")
        ->option_text("576..65535")
        ->check(CLI::Range(576, 65535));
    app.add_option("-e,--export", options->exportFormat,
                   "what to write: png, raw or none; - for frames on standard output")
        ->option_text("FORMAT")
        ->check(CLI::IsMember({"png", "raw", "none", "-"}));
    app.add_option("--stream-format", options->streamFormat,
                   "form of the frames on standard output: raw, pnm or y4m")
        ->option_text("FORMAT")
        ->check(CLI::IsMember({"raw", "pnm", "y4m"}));
    app.add_option("-d,--directory", options->directory, "where to write it")
        ->option_text("FOLDER")
        ->check(CLI::Validator(
            [](std::string& path) {
                return path.empty() ? std::string("the folder's name is empty") : std::string();
            },
            ""));
    app.add_flag("--every-frame", options->everyFrame,
                 "let grabbing wait for the writers instead of skipping frames");
    app.add_flag("--overwrite", options->overwrite, "replace pictures of an earlier run");
    app.add_option("--memory", options->memoryName, "name of the shared frame memory")
        ->option_text("NAME")
        ->transform(memoryName);
    app.add_option("--socket", options->socket, "path of the control socket, \"auto\" or \"none\"")
        ->option_text("FILE");
    app.add_option("--simulation", options->simulation, "description of the simulated network")
        ->option_text("FILE");
    app.add_option("--replay", options->replayFolder,
                   "play the pictures of an exported folder back, as if a camera sent them")
        ->option_text("FOLDER");
    app.add_flag("--replay-fast", options->replayFast,
                 "with --replay: as fast as possible, not at the recorded times");
    app.add_flag("--replay-loop", options->replayLoop, "with --replay: begin again at the end");
    app.add_option("--driver", options->driverPath, "load this driver library")
        ->option_text("FILE");
    app.add_option("--log-file", options->logFile, "append the whole log to a file")
        ->option_text("FILE");
    app.add_option("--trace", options->traceFile,
                   "record when frames came, by both clocks (CSV, for stamps_bench)")
        ->option_text("FILE");
    app.add_option("--log-level", options->logLevel, "error, warning, info, detail or trace")
        ->option_text("LEVEL")
        ->check(NameIn<int>(kLevelNames));
    app.add_flag("-v,--verbose", options->verbose,
                 "show all lines of the driver, not only its warnings and errors");
    app.add_flag("--no-status", options->noStatus, "no status line on a terminal");
    app.add_flag("--show-lines", options->showLines,
                 "at the end, draw what the output lines of simulated cameras did");
    app.add_flag("--strict", options->strict,
                 "end with status 15 if the camera doesn't take a setting");
    app.add_flag("--no-retry", options->noRetry,
                 "end when there is no camera or it fails, instead of trying again");
    app.add_option("--retry-interval", options->retryIntervalS,
                   "seconds before the first new attempt; it doubles, up to 30 s")
        ->option_text("SECONDS")
        ->check(Between(0.1, 3600));
    for (const char* name :
         {"--config", "--cameras", "--interface", "--model", "--serial", "--position",
          "--simulation", "--replay", "--replay-fast", "--replay-loop"}) {
        app.get_option(name)->group(kWhichCamera);
    }
    CLI::Option* const replay = app.get_option("--replay");
    for (const char* name : {"--cameras", "--interface", "--model", "--serial", "--position",
                             "--simulation", "--format"}) {
        replay->excludes(app.get_option(name)); // the recording says all that
    }
    app.get_option("--replay-fast")->needs(replay);
    app.get_option("--replay-loop")->needs(replay);
}

/** The commands that read and change features. */
struct FeatureCommands {
    FeatureCommands(CLI::App& app, Options* options)
        : features(app.add_subcommand("features", "print, save or load what a camera has")),
          get(app.add_subcommand("get", "print values of features")),
          set(app.add_subcommand("set", "set features")),
          execute(app.add_subcommand("execute", "execute a command of the camera"))
    {
        features->add_option("--load", options->loadFile, "first set what such a file says")
            ->option_text("FILE");
        features->add_option("--save", options->saveFile, "save the settings in a file")
            ->option_text("FILE");
        get->add_flag("--table", options->table, "with type, access, unit and range");
        const auto takes = [options](CLI::App* command, const char* what, const char* example) {
            CLI::Option* const names = command->add_option(what, options->arguments, example);
            return names->option_text(" ")->required()->take_all();
        };
        takes(get, "FEATURE...", "such as Width or Gain[DigitalAll]")->expected(-1);
        takes(set, "FEATURE=VALUE...", "such as Width=640; selectors first")->expected(-1);
        takes(execute, "COMMAND", "such as TriggerSoftware")->expected(1);
    }
    Options::Command Chosen() const
    {
        return get->parsed()       ? Options::Command::Get
               : set->parsed()     ? Options::Command::Set
               : execute->parsed() ? Options::Command::Execute
                                   : Options::Command::Features;
    }
    bool Parsed() const { return features->parsed() || Chosen() != Options::Command::Features; }

    CLI::App* features;
    CLI::App* get;
    CLI::App* set;
    CLI::App* execute;
};

} // namespace

bool ParseOptions(int argc, const char* const* argv, Options* options, int* exitStatus,
                  std::ostream& out, std::ostream& err)
{
    CLI::App app("Grabs frames from a camera into shared memory and picture files.", "kvgrab");
    app.formatter(std::make_shared<HelpText>());
    app.footer(kFooter);
    app.set_help_flag("-h,--help", "show this help");
    app.set_version_flag("--version", "kvgrab " KVGRAB_VERSION, "show the version");
    app.require_subcommand(0, 1);
    AddOptions(app, options);
    CLI::App* run = app.add_subcommand("run", "grab frames (also without this word)");
    CLI::App* list =
        app.add_subcommand("list", "list the cameras, and which of them the driver takes");
    CLI::App* check =
        app.add_subcommand("check", "compare a configuration with the camera, without grabbing");
    check->add_option("CONFIG", options->configPath, "configuration file, as with --config");
    const FeatureCommands features(app, options);
    CLI::App* control = app.add_subcommand("ctl", "ask a running kvgrab something");
    control->add_flag("--json", options->json, "print JSON");
    control
        ->add_option("ACTION", options->arguments,
                     "status, get, set, execute, change, configuration, save, reload, usr1, usr2, "
                     "stop, events or raw, and its arguments")
        ->required()
        ->take_all()
        ->expected(-1);
    for (CLI::App* command : {run, list, features.features, features.get, features.set,
                              features.execute, check, control}) {
        command->fallthrough();
        command->set_help_flag();
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& asked) { // --help, --version
        app.exit(asked, out, err);
        *exitStatus = static_cast<int>(ExitStatus::Done);
        return false;
    } catch (const CLI::ParseError& error) {
        err << "kvgrab: " << base::Printable(error.what(), "\n")
            << "\nkvgrab --help lists the options.\n";
        *exitStatus = static_cast<int>(ExitStatus::Usage);
        return false;
    }
    options->command = list->parsed()      ? Options::Command::List
                       : control->parsed() ? Options::Command::Control
                       : check->parsed()   ? Options::Command::Check
                       : features.Parsed() ? features.Chosen()
                                           : Options::Command::Run;
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
