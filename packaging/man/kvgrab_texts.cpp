#include "packaging/man/manual.h"

namespace manual
{

const ProgramTexts& TextsOfKvgrab()
{
    static const ProgramTexts texts = {
        "grab frames from a machine-vision camera",
        {{"",
          {"kvgrab grabs frames from a GigE Vision camera, or from a simulated one, and keeps them "
           "in a shared memory that other programs can follow. On request it writes them to "
           "picture files. It waits for a camera that is missing, held or failing, and begins a "
           "new session when it is there, so it can run unattended.",
           "Without a command it grabs, like kvgrab run. Options override the configuration file, "
           "also when it is read again. If an option is repeated, the last one counts; only "
           "--position accumulates."}},
         {"run",
          {"Grabs frames until a frame count or a signal ends it. The options override the "
           "configuration file, also when it is read again. The first frame of a session only "
           "starts the clock and is never written."}},
         {"list",
          {"Prints one row per camera: position, model, serial number, version, backend (sim: "
           "simulated, net: on the network), address, whether a program holds it, and whether the "
           "driver takes it. The driver considers the first eight cameras, and takes the first one "
           "that the configuration names."},
          {"0", "1", "2", "3", "5", "10", "11"}},
         {"features",
          {"Opens the camera that kvgrab run would choose and prints its features: values, ranges, "
           "access and units. With --save the settings are written to a file, with --load they "
           "are set from such a file. A camera that another program holds can't be opened."},
          {"0", "1", "2", "3", "5", "10", "11", "12", "13", "15"}},
         {"get",
          {"Prints the values of features, each on a line, in the order of the command line. A "
           "line stays empty if its feature can't be read; the reason goes to standard error. If a "
           "feature depends on a selector, its name can have the selector's value in brackets, as "
           "in Gain[DigitalAll]. The camera must not be held by another program; kvgrab ctl get "
           "asks the one that is running."},
          {"0", "1", "2", "3", "5", "10", "11", "12", "13", "15"}},
         {"set",
          {"Sets features in the order of the command line and prints what the camera has "
           "afterwards. It ends with the first value that is refused; those before it stay set. A "
           "camera on the network keeps the values until its power is switched off. The camera "
           "must not be held by another program; kvgrab ctl set asks the one that is running."},
          {"0", "1", "2", "3", "5", "10", "11", "12", "13", "15"}},
         {"execute",
          {"Executes a command of the camera and waits until it is finished. The camera must not "
           "be held by another program; kvgrab ctl execute asks the one that is running."},
          {"0", "1", "2", "3", "5", "10", "11", "12", "13", "15"}},
         {"check",
          {"Reads the configuration as kvgrab run does, opens the camera that it would choose, and "
           "compares the two: what would be set, in which range, what the camera has now, and "
           "what it would not take. Nothing is grabbed and nothing is written to the camera. If "
           "the camera isn't there, the configuration alone is checked."},
          {"0", "1", "2", "3", "5", "10", "11", "12", "13", "15"}},
         {"ctl",
          {"Sends a request to a running kvgrab through its control socket, and prints the answer. "
           "The socket is found from the name of the shared memory and from the configuration file "
           "that the other kvgrab was given. It belongs to the user who runs kvgrab; only this "
           "user and root may use it."},
          {"0", "1", "2", "3", "5", "10", "13", "15", "17"}}},
        {{"Environment",
          {{"RUNTIME_DIRECTORY",
            "folder of the control socket, which the service manager sets for a service"},
           {"XDG_RUNTIME_DIR", "without it: the control socket is in kvgrab/ below this folder"},
           {"NOTIFY_SOCKET, WATCHDOG_USEC",
            "where and how often the service manager wants to hear that kvgrab is alive"}}},
         {"Files",
          {{"/etc/kvgrab/NAME.toml",
            "configuration of the service kvgrab@NAME; kvgrab.toml(5) explains all keys"},
           {"/dev/shm/NAME", "the shared memory with the frames; NAME is kvgrab unless configured"},
           {"/run/user/UID/kvgrab/NAME.sock, /run/kvgrab/NAME.sock",
            "the control socket of a user's kvgrab, and of a service"}}}},
        {"kvcam"}};
    return texts;
}

} // namespace manual
