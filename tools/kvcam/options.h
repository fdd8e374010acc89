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
    std::string readyFile;                                 ///< empty: none
    std::optional<std::chrono::duration<double>> duration; ///< none: until a signal comes
};

/** Nothing: the program ends with `*exitCode`; what there was to say was said. */
std::optional<Options> ReadOptions(int argc, char** argv, int* exitCode);

} // namespace kvcam
