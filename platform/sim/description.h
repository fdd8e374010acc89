/** The simulated network as a file describes it: docs/simulated_camera.md has the format. */
#pragma once

#include "sim_control.h"

#include <string>
#include <string_view>
#include <vector>

namespace sim
{

struct NetworkDescription {
    std::vector<CameraSetup> cameras;
    std::vector<Fault> faults;
};

/** Reads a description. `name` stands for the file in `*error`, which tells line, column and what
 *  was expected. Touches nothing but its outputs. */
bool ParseNetwork(std::string_view text, std::string_view name, NetworkDescription* network,
                  std::string* error);

} // namespace sim
