/** The command line. */
#pragma once

#include "tools/kvcam/camera.h"

#include <chrono>
#include <optional>
#include <string>

namespace kvcam
{

struct Options {
    Settings camera;
    std::string readyFile;                                 ///< empty: no file
    std::optional<std::chrono::duration<double>> duration; ///< empty: until a signal comes
};

/** Returns nothing when the program must end with `*exitCode`; the reason or help has been printed.
 */
std::optional<Options> ReadOptions(int argc, char** argv, int* exitCode);

} // namespace kvcam
