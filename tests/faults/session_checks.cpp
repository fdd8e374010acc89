#include "tests/faults/session_checks.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <map>
#include <string_view>

namespace faults
{

namespace
{

/** What the driver logs on its way out, and the exit code that goes with it. The first row that the
 *  log contains counts. */
struct Ending {
    std::string_view format; ///< part of it
    int exitCode;
    bool mayGoOn = false; ///< the session may still end as it does without a fault
};
constexpr Ending kEndings[] = {
    {"no any devices found", KvTd::kExitNoDevice},
    {"please attach configured device", KvTd::kExitNotOurs},
    {"can't connect to device", KvTd::kExitOpen},
    {"Device configuration error", KvTd::kExitConfiguration},
    {"SetUserBuffers error", KvTd::kExitBuffers},
    {"grabbing is stopped", KvTd::kExitGrabbing},
    {"An unhandled exception", KvTd::kExitConfiguration}, // it came from the configuration,
    {"error description", KvTd::kExitGrabbing, true},     // or from the loop, or frames are missing
    {"", KvTd::kExitDone, true}};

std::string_view NameOf(std::string_view call)
{
    return call.substr(0, call.find_first_of("(="));
}

} // namespace

void CheckCalls(const Circumstances& circumstances, Findings* findings)
{
    const rig::Texts calls = rig::Rig::Of("gev");
    std::map<std::string, unsigned, std::less<>> made; // calls by name
    unsigned opened = 0;
    unsigned delivered = 0;
    bool freed = false;
    bool running = false;
    for (const std::string& call : calls) {
        const std::string name(NameOf(call));
        const int status = std::atoi(call.substr(call.rfind('=') + 1).c_str());
        const bool done = status == kGevOk;
        ++made[name];
        // The driver asks for each buffer a second time and hands over whatever it gets.
        const bool excused = circumstances.buffersGone && name == "GevInitializeTransfer";
        findings->AddIf((status == kGevInvalidHandle || status == kGevInvalidArgument) && !excused,
                        "a call that makes no sense: {}", call);
        if (name == "GevOpenCamera") {
            opened += done ? 1 : 0;
        } else if (name == "GevCloseCamera") {
            findings->AddIf(made["GevApiUninitialize"] != 0,
                            "the camera is closed after the shut-down, which would have closed it");
        } else if (name == "GevFreeTransfer") {
            // Without the host's buffers there is no transfer, but a loop frees it nevertheless.
            findings->AddIf(freed && circumstances.factoryUsed, "a transfer is freed twice");
            findings->AddIf(running && circumstances.orderly, "a transfer is freed while it runs");
        } else if (name == "GevWaitForNextFrame") {
            delivered += done || status == kGevIncomplete ? 1 : 0;
        }
        running = name == "GevStartTransfer" ? done : running && name != "GevAbortTransfer";
        freed = name == "GevFreeTransfer" || (freed && name != "GevInitializeTransfer");
    }
    findings->AddIf(made["GevCloseCamera"] != opened,
                    "the camera is opened {} times and closed {} times", opened,
                    made["GevCloseCamera"]);
    // The last frame of a loop is released with the transfer.
    const unsigned released = made["GevReleaseFrame"];
    const unsigned loops = made["GevFreeTransfer"];
    findings->AddIf(delivered > released + loops + circumstances.nullFrames || released > delivered,
                    "of {} frames {} are released in {} loops", delivered, released, loops);
    findings->AddIf(made["GevApiUninitialize"] != 1 || made["_CloseSocketAPI"] != 1 ||
                        NameOf(calls.back()) != "_CloseSocketAPI",
                    "the camera calls are not shut down once, at the end");
}

void CheckExitCode(const rig::FakeHost& host, int exitCode, Findings* findings)
{
    const Ending* const ending =
        std::find_if(std::begin(kEndings), std::end(kEndings) - 1, [&host](const Ending& row) {
            return rig::Count(host.formats, row.format) != 0;
        });
    const bool usual = exitCode == KvTd::kExitDone || exitCode == KvTd::kExitReconfigFailed;
    findings->AddIf(exitCode != ending->exitCode && !(usual && ending->mayGoOn),
                    "exit code {} in place of {} after \"{}\"", exitCode, ending->exitCode,
                    ending->format);
}

} // namespace faults
