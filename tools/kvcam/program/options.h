/** The command line. */
#pragma once

#include "base/program_help.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI
{
class App;
}

namespace kvcam
{

struct Options {
    /** Of the cameras, in order. If there are fewer than cameras, the others follow the last. */
    std::vector<std::string> addresses = {"127.0.0.1"};
    std::vector<std::string> serials = {"KV000001"}; ///< likewise
    std::string maker = "DALSA (kvcam)";
    std::string model = "Loopback";
    bool color = false;
    std::string network;             ///< file; empty: cameras as above
    std::vector<std::string> faults; ///< texts of FaultText
    std::size_t resendDepth = 8;     ///< frames; 0: nothing is sent again
    bool extendedIds = false;
    bool extendedChunks = false; ///< chunk data behind an image, not as a payload type of its own
    bool segments = false;       ///< the system cuts the packets apart
    std::string description;     ///< file in place of the generated description; empty: that one
    bool printDescription = false;
    std::string readyFile; ///< empty: no file
    double durationS = 0;
    std::optional<std::chrono::duration<double>> duration; ///< empty: until a signal comes
};

/** The options; parsing the command line with them fills `*options`. */
std::unique_ptr<CLI::App> CommandLine(Options* options);

/** What the help says besides the options. */
const base::ProgramHelp& Help();

const char* Version();

/** Returns nothing when the program must end with `*exitCode`; the reason or help has been printed.
 */
std::optional<Options> ReadOptions(int argc, char** argv, int* exitCode);

} // namespace kvcam
