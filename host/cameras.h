/** The cameras as the platform layer shows them; the only part of the program that calls it. */
#pragma once

#include "camera_table.h"
#include "progress.h"

#include <string>
#include <vector>

namespace kvgrab
{

/** Puts the simulated cameras on their network: those of the description file, or the two built-in
 *  ones when `path` is empty. False: `*error` says what is wrong with the file, and where. */
bool SetUpSimulation(const std::string& path, std::string* error);

/** Lists all cameras. False: the platform layer refused; `*error` says how. */
bool ListCameras(std::vector<CameraRow>* cameras, std::string* error);

/** Drawings of the newest pulse of each output line that a simulated camera drives. */
std::string DrawOutputLines();

/** Counts of the newest transfer. */
TransferCounts NewestTransfer();

} // namespace kvgrab
