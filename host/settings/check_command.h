/** `kvgrab check`. */
#pragma once

#include "config/config_store.h"
#include "config/options.h"
#include "exit_status.h"

namespace kvgrab
{

/** Reads the configuration and, if the camera is there, compares it with what the camera offers.
 *  Writes nothing to the camera. */
ExitStatus CheckConfiguration(const Options& options, ConfigSource source);

} // namespace kvgrab
