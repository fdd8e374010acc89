#include "tools/kvcam/program/options.h"

namespace kvcam
{

namespace
{

base::HelpSection FaultsOfCommands()
{
    return {"Faults of the commands",
            {{"lose-command", "the command never arrives; with answer=1 its answer is lost"},
             {"slow-command", "the access takes ms= milliseconds"},
             {"refuse-command", "nothing is done, and the answer has status="},
             {"late-answer", "the answer comes ms= later; with pending=1 it is announced"},
             {"silence", "from at= on, the camera is silent for for= seconds"},
             {"reboot", "at at=, the camera forgets everything; it is silent for for= seconds"}},
            "A fault is \"KIND KEY=VALUE ...\". command=, address=, feature=, from=, every=, "
            "count=, ratio= and seed= choose the "
            "commands that are hit, camera= the camera by its serial number."};
}

base::HelpSection FaultsOfStream()
{
    return {
        "Faults of the stream",
        {{"lose", "the packet is never sent"},
         {"late", "it is sent ms= later"},
         {"reorder", "it is sent behind the packet that follows by= later"},
         {"duplicate", "it is sent twice"},
         {"truncate", "bytes= bytes at its end are missing"},
         {"length", "it is longer by bytes="},
         {"wrong-id", "its header has the frame number block="},
         {"packet-number", "its header has the packet number value="},
         {"content", "its header has the kind of content value="},
         {"payload-type", "leader or trailer have the payload type value="},
         {"stranger", "another port sends a packet with the same header before it"},
         {"refuse-resend", "requested again, it is answered by a header with status="},
         {"ignore-resend", "requested again, it gets no answer"},
         {"numbers", "frames are numbered from first= on, with bits= bits"},
         {"ticks", "the time stamps jump ahead by jump= or back by back="}},
        "packet=, packets=, from=, every=, ratio=, seed=, count= and resent= choose the packets "
        "that are hit, camera= the camera. All keys are explained in docs/kvcam.md."};
}

base::HelpSection ExitStatuses()
{
    return {"Exit status",
            {{"0", "a signal or --duration ended it"},
             {"1", "a camera can't be started: no interface has its address, another program uses "
                   "port 3956 there, or a fault makes no sense"},
             {"above 100", "the command line is not understood"}}};
}

base::HelpSection Examples()
{
    return {"Examples",
            {{"kvcam", "a camera at 127.0.0.1; kvgrab --cameras net grabs from it"},
             {"kvcam --address 127.0.0.1,127.0.0.2 --color", "two colour cameras"},
             {"kvcam --fault \"lose ratio=0.01 seed=7\"",
              "a camera of whose packets one in a hundred is lost"}},
            {},
            true};
}

} // namespace

const base::ProgramHelp& Help()
{
    static const base::ProgramHelp help = {
        "kvcam",
        {{"", "[options]"}},
        {FaultsOfCommands(), FaultsOfStream(), ExitStatuses(), Examples()}};
    return help;
}

} // namespace kvcam
