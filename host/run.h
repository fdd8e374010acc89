/** The commands. */
#pragma once

#include "config/options.h"
#include "exit_status.h"

namespace kvgrab
{

/** `kvgrab run`: configuration, set-up, sessions, summary. Says why it ends. */
ExitStatus RunGrabbing(const Options& options);

/** `kvgrab list` */
ExitStatus RunList(const Options& options);

/** `kvgrab features` */
ExitStatus RunFeatures(const Options& options);

/** `kvgrab ctl` */
ExitStatus RunCtl(const Options& options);

/** `kvgrab check`: compares the configuration with the camera, without grabbing. */
ExitStatus RunCheck(const Options& options);

} // namespace kvgrab
