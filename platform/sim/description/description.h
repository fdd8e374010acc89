/** Reads a description of a simulated network (docs/simulated_camera.md) from TOML text. */
#pragma once

#include "sim/picture/light_image.h"
#include "sim/replay/recording.h"
#include "sim_control.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace sim
{

/** A network as a file describes it: cameras and faults in the file's order. */
struct NetworkDescription {
    std::vector<CameraSetup> cameras;
    std::vector<std::shared_ptr<const LightImage>> scenes; ///< of each camera; null: a test pattern
    std::vector<std::shared_ptr<const Recording>> recordings; ///< of each camera; null: none
    std::vector<Fault> faults;
};

/** Changes no network and throws nothing; the only files that it reads are the cameras' scenes
 *  and recordings, whose paths are relative to the file's folder. `name` represents the text in
 * messages and is usually its path. On failure `*network` is as before and `*error` is
 * "name:line:column: what was found and what was expected"; lines and columns count from 1. */
bool ParseNetwork(std::string_view text, const std::string& name, NetworkDescription* network,
                  std::string* error);

} // namespace sim
