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

/** The calls of a camera's life, in the order in which they came. */
struct Life {
    std::map<std::string, unsigned, std::less<>> made; ///< calls by name
    unsigned opened = 0;
    unsigned delivered = 0;
    bool freedTwice = false;
    bool closedLate = false; ///< after the shut-down, which would have closed the camera
    bool freedRunning = false;
    std::string senseless; ///< the last call that was refused for its arguments
};

Life Lived(const rig::Texts& calls)
{
    Life life;
    bool freed = false;
    bool running = false;
    for (const std::string& call : calls) {
        const std::string name(NameOf(call));
        const int status = std::atoi(call.substr(call.rfind('=') + 1).c_str());
        const bool done = status == kGevOk;
        ++life.made[name];
        if (status == kGevInvalidHandle || status == kGevInvalidArgument) {
            life.senseless = call;
        }
        if (name == "GevOpenCamera") {
            life.opened += done ? 1 : 0;
        } else if (name == "GevCloseCamera") {
            life.closedLate |= life.made["GevApiUninitialize"] != 0;
        } else if (name == "GevFreeTransfer") {
            life.freedTwice |= freed;
            life.freedRunning |= running;
        } else if (name == "GevWaitForNextFrame") {
            life.delivered += done || status == kGevIncomplete ? 1 : 0;
        }
        running = name == "GevStartTransfer" ? done : running && name != "GevAbortTransfer";
        freed = name == "GevFreeTransfer" || (freed && name != "GevInitializeTransfer");
    }
    return life;
}

} // namespace

void CheckCalls(const Circumstances& circumstances, Findings* findings)
{
    const rig::Texts calls = rig::Rig::Of("gev");
    Life life = Lived(calls);
    const unsigned closed = life.made["GevCloseCamera"];
    const unsigned released = life.made["GevReleaseFrame"];
    const unsigned loops = life.made["GevFreeTransfer"];
    // Without the host's buffers there is no transfer, but a loop frees it nevertheless.
    findings->AddIf(life.freedTwice && circumstances.factoryUsed, "a transfer is freed twice");
    findings->AddIf(life.freedRunning && circumstances.orderly,
                    "a transfer is freed while it runs");
    // The driver asks for each buffer a second time and hands over whatever it gets.
    findings->AddIf(!life.senseless.empty() && !(circumstances.buffersGone &&
                                                 NameOf(life.senseless) == "GevInitializeTransfer"),
                    "a call that makes no sense: {}", life.senseless);
    findings->AddIf(closed != life.opened || life.closedLate,
                    "the camera is opened {} times and closed {} times", life.opened, closed);
    // The last frame of a loop is released with the transfer.
    const unsigned kept = loops + circumstances.nullFrames;
    findings->AddIf(life.delivered > released + kept || released > life.delivered,
                    "of {} frames {} are released in {} loops", life.delivered, released, loops);
    findings->AddIf(life.made["GevApiUninitialize"] != 1 || life.made["_CloseSocketAPI"] != 1 ||
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
