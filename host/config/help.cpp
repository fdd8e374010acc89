#include "config/help.h"

#include "control/ctl_request.h"

namespace kvgrab
{

namespace
{

/** The options that choose the camera. */
const std::vector<std::string_view> kOfTheCamera = {"--config",     "--cameras", "--interface",
                                                    "--model",      "--serial",  "--position",
                                                    "--simulation", "--replay"};

std::vector<std::string_view> OfTheCameraAnd(std::string_view option)
{
    std::vector<std::string_view> options = kOfTheCamera;
    options.push_back(option);
    return options;
}

base::HelpSection Signals()
{
    return {"Signals",
            {{"INT, TERM",
              "end after the current frame, and within 3 s; a second one, half a second later, "
              "leaves at once"},
             {"QUIT", "end in the same way"},
             {"HUP", "read the configuration file again, reopen a rotated log file"},
             {"USR1, USR2",
              "compute a look-up table from an 8-bit (USR1) or a 12-bit picture (USR2) and load "
              "it into the camera"}},
            "Settings of exposure, gain, auto, white_balance, lut, gamma and iobox that change in "
            "the configuration file are applied without a signal."};
}

base::HelpSection ExitStatuses()
{
    return {"Exit status",
            {{"0", "done; run: the frame count was reached, or a signal ended it"},
             {"1", "an unexpected error"},
             {"2", "the command line is not understood"},
             {"3", "the configuration is refused, or the file of features --load"},
             {"4", "the driver can't be loaded"},
             {"5", "log file, shared memory, simulated network or a saved file can't be used"},
             {"10", "no camera; ctl: no camera is grabbing"},
             {"11", "no camera that the configuration names"},
             {"12", "the camera can't be opened, or another program holds it"},
             {"13", "the camera failed, or frames stayed away"},
             {"14", "the frame buffers can't be used"},
             {"15", "the camera refused the configuration or a value"},
             {"16", "the driver ended with an unknown code"},
             {"17", "ctl: no running kvgrab answers"},
             {"20", "pictures can't be written, or none was written"},
             {"130", "left at once on a second INT or TERM"}},
            "run ends with 10 to 13 only with --no-retry; otherwise it waits and tries again."};
}

base::HelpSection Examples()
{
    return {"Examples",
            {{"kvgrab list", "shows the cameras and which of them the driver takes"},
             {"kvgrab --frames 100 --export png --directory frames",
              "grabs 100 frames of the first camera and writes 99 pictures: the first frame of a "
              "session only starts the clock"},
             {"kvgrab --config camera.toml --log-file kvgrab.log",
              "grabs as the file says until a signal comes; the log file has all lines of the "
              "driver"},
             {"kvgrab --serial S1234567 --format mono12 --every-frame --export raw",
              "one certain camera, 12 bits, no frame skipped by the writers"},
             {"kvgrab --export - --stream-format y4m | ffmpeg -f yuv4mpegpipe -i - video.mkv",
              "writes frames to standard output, for another program"},
             {"kvgrab --replay frames --export raw --every-frame --directory again",
              "driver and host get the pictures of an earlier run, with its losses"},
             {"kvgrab features --cameras net",
              "prints what the first camera on the network has, with values and limits"},
             {"kvgrab get Width ExposureTime", "prints the two values, each on a line"},
             {"kvgrab set TriggerMode=On \"Gain[DigitalAll]=2\"", "sets features in this order"},
             {"kvgrab execute TriggerSoftware", "has a camera that waits for a trigger expose"},
             {"kvgrab features --save settings.toml",
              "saves everything that can be set; --load brings a camera back to it"},
             {"kvgrab check camera.toml",
              "says what the file would set, and what the camera would not take"},
             {"kvgrab ctl status", "shows what the running kvgrab does"},
             {"kvgrab ctl change exposure.time_us=5000 --memory /left",
              "changes the exposure time of the kvgrab that runs with --memory /left"}},
            {},
            true};
}

} // namespace

const base::ProgramHelp& Help()
{
    static const base::ProgramHelp help = {
        "kvgrab",
        {{"", "[run] [options]"},
         {"run", "[run] [options]"},
         {"list", "list [options]", kOfTheCamera},
         {"features", "features [--load FILE] [--save FILE] [options]", kOfTheCamera},
         {"get", "get [--table] FEATURE... [options]", kOfTheCamera},
         {"set", "set FEATURE=VALUE... [options]", kOfTheCamera},
         {"execute", "execute COMMAND [options]", kOfTheCamera},
         {"check", "check [CONFIG] [options]", OfTheCameraAnd("--strict")},
         {"ctl",
          "ctl [--json] ACTION [ARGUMENT...] [options]",
          {"--config", "--memory", "--socket", "--overwrite"},
          {{"Actions", CtlActions()}}}},
        {Signals(), ExitStatuses(), Examples()}};
    return help;
}

} // namespace kvgrab
