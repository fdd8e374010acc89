/** The command line. */
#pragma once

#include "config/config.h"

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI
{
class App;
}

namespace kvgrab
{

/** Options override the configuration file, also when it is read again. */
struct Options {
    enum class Command { Run, List, Features, Get, Set, Execute, Check, Control };
    Command command = Command::Run;
    std::string configPath; ///< empty: no file
    std::string driverPath; ///< empty: the installed one
    bool noStatus = false;
    bool showLines = false;
    std::vector<std::string> arguments; ///< of get, set, execute and ctl
    bool json = false;                  ///< ctl prints JSON
    bool table = false;                 ///< get prints a table
    std::string loadFile;               ///< features; empty: none, like the next
    std::string saveFile;
    bool strict = false; ///< a setting that the camera doesn't take ends the run
    bool verbose = false;

    std::optional<std::string> model;
    std::optional<std::string> serial;
    std::vector<int> positions;
    std::optional<std::string> format;
    std::optional<std::uint32_t> frames;
    std::optional<std::uint32_t> buffers;
    std::optional<int> packetSize;
    std::optional<std::string> exportFormat;
    std::optional<std::string> streamFormat;
    std::optional<std::string> directory;
    bool everyFrame = false;
    bool overwrite = false;
    std::optional<std::string> memoryName;
    std::optional<std::string> socket;
    std::optional<std::string> backends;
    std::optional<std::string> interface;
    std::optional<std::string> simulation;
    std::optional<std::string> replayFolder; ///< its pictures come from a simulated camera
    bool replayFast = false;
    bool replayLoop = false;
    std::optional<std::string> logFile;
    std::optional<std::string> traceFile;
    std::optional<std::string> logLevel;
    bool noRetry = false;
    std::optional<double> retryIntervalS;
};

/** The options and commands; parsing the command line with them fills `*options`. */
std::unique_ptr<CLI::App> CommandLine(Options* options);

/** Reads the command line. False: there is nothing more to do, a text has been printed, and
 *  `*exitStatus` is what to end with. */
bool ParseOptions(int argc, const char* const* argv, Options* options, int* exitStatus,
                  std::ostream& out, std::ostream& err);

/** The version of this program. */
const char* Version();

/** Overrides a configuration by the options that were given. */
void ApplyOverrides(const Options& options, Config* config);

} // namespace kvgrab
