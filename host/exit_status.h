/** What kvgrab's own exit status says. */
#pragma once

namespace kvgrab
{

enum class ExitStatus : int {
    Done = 0,              ///< the frame count was reached, or a signal asked for the end
    Internal = 1,          ///< an unexpected error
    Usage = 2,             ///< the command line can't be understood
    Configuration = 3,     ///< the configuration was refused
    Driver = 4,            ///< the driver can't be loaded
    SetUp = 5,             ///< log file, shared memory or simulated network unusable
    NoCamera = 10,         ///< no camera on the network; only without retry, like the next three
    NoMatchingCamera = 11, ///< none that the configuration names
    OpenFailed = 12,       ///< the camera can't be opened
    GrabbingFailed = 13,   ///< frames stayed away, or the camera failed
    Buffers = 14,          ///< the frame buffers can't be used
    CameraRefused = 15,    ///< the camera refused the configuration
    UnknownDriverCode = 16,
    NoAnswer = 17,     ///< kvgrab ctl: no running kvgrab answers, or not in time
    ExportFailed = 20, ///< the export can't start, on_error = "stop" ended it, or it wrote nothing
    LeftAtOnce = 130,  ///< a second INT or TERM, half a second after the first or later
};

} // namespace kvgrab
