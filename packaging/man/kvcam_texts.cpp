#include "packaging/man/manual.h"

namespace manual
{

const ProgramTexts& TextsOfKvcam()
{
    static const ProgramTexts texts = {
        "GigE Vision cameras on addresses of this machine",
        {{"",
          {"kvcam puts simulated cameras on the network, each at an address of this machine, so "
           "that a driver or any other client can be tried over the wire without a real camera. "
           "Any number of cameras run in one process, and each can be made to misbehave: commands "
           "and packets are lost, late, repeated or wrong.",
           "It prints a line for each camera when they answer, and runs until INT or TERM ends "
           "it. Each camera needs the UDP port 3956 of its address."}}},
        {},
        {"kvgrab"}};
    return texts;
}

} // namespace manual
