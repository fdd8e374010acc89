/** `kvgrab ctl`: asks a running kvgrab something. */
#pragma once

#include "config/config_store.h"
#include "config/options.h"
#include "exit_status.h"

namespace kvgrab
{

/** The source says where the socket is, as it does for `kvgrab run`. */
ExitStatus RunControl(const Options& options, ConfigSource source);

} // namespace kvgrab
