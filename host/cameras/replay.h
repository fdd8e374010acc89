/** The camera that plays a recording back: a folder that kvgrab exported. */
#pragma once

#include "config/options.h"
#include "session/replay_end.h"

#include <string>

namespace kvgrab
{

/** Puts a simulated camera that plays `options->replayFolder` back on the network, in place of all
 *  others, and chooses its pixel format. False: `*error` says why that can't be done. */
bool SetUpReplay(Options* options, std::string* error);

/** The serial number of the open camera if it plays a recording back; otherwise empty. */
std::string SerialOfReplay();

/** Whether the camera with this serial number has come to its recording's end. An empty number: no
 *  camera, so never. */
ReplayEnd EndOfReplay(const std::string& serial);

/** What the camera with this serial number plays back, in a sentence without a full stop. */
std::string ReplayLine(const std::string& serial);

} // namespace kvgrab
