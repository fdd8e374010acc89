#include "tests/faults/session_checks.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string_view>

namespace faults
{

namespace
{

/** What the driver logs on its way out, and the exit code that goes with it. */
struct Ending {
    std::string_view format; ///< part of it
    int exitCode;
};
constexpr Ending kEndings[] = {{"no any devices found", KvTd::kExitNoDevice},
                               {"please attach configured device", KvTd::kExitNotOurs},
                               {"can't connect to device", KvTd::kExitOpen},
                               {"Device configuration error", KvTd::kExitConfiguration},
                               {"SetUserBuffers error", KvTd::kExitBuffers},
                               {"grabbing is stopped", KvTd::kExitGrabbing}};

bool Told(const rig::FakeHost& host, std::string_view part)
{
    return std::any_of(host.formats.begin(), host.formats.end(), [part](const std::string& format) {
        return format.find(part) != std::string::npos;
    });
}

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

void CheckCalls(const Circumstances& circumstances, std::vector<std::string>* wrong)
{
    const rig::Texts calls = rig::Rig::Of("gev");
    Life life = Lived(calls);
    const unsigned closed = life.made["GevCloseCamera"];
    const unsigned released = life.made["GevReleaseFrame"];
    const unsigned loops = life.made["GevFreeTransfer"];
    // Without the host's buffers there is no transfer, but a loop frees it nevertheless.
    if (life.freedTwice && circumstances.factoryUsed) {
        wrong->push_back("a transfer is freed twice");
    }
    if (life.freedRunning && circumstances.orderly) {
        wrong->push_back("a transfer is freed while it runs");
    }
    // The driver asks for each buffer a second time and hands over whatever it gets.
    if (!life.senseless.empty() &&
        !(circumstances.buffersGone && NameOf(life.senseless) == "GevInitializeTransfer")) {
        wrong->push_back("a call that makes no sense: " + life.senseless);
    }
    if (closed != life.opened || life.closedLate) {
        wrong->push_back("the camera is opened " + std::to_string(life.opened) +
                         " times and closed " + std::to_string(closed) + " times");
    }
    // The last frame of a loop is released with the transfer.
    const unsigned kept = loops + circumstances.nullFrames;
    if (life.delivered > released + kept || released > life.delivered) {
        wrong->push_back("of " + std::to_string(life.delivered) + " frames " +
                         std::to_string(released) + " are released in " + std::to_string(loops) +
                         " loops");
    }
    if (life.made["GevApiUninitialize"] != 1 || life.made["_CloseSocketAPI"] != 1 ||
        NameOf(calls.back()) != "_CloseSocketAPI") {
        wrong->push_back("the camera calls are not shut down once, at the end");
    }
}

void CheckExitCode(const rig::FakeHost& host, int exitCode, std::vector<std::string>* wrong)
{
    for (const Ending& ending : kEndings) {
        if (Told(host, ending.format)) {
            if (exitCode != ending.exitCode) {
                wrong->push_back("exit code " + std::to_string(exitCode) + " after \"" +
                                 std::string(ending.format) + "\"");
            }
            return;
        }
    }
    // An exception comes from the loop or else from the configuration; missing frames are logged.
    const int code = Told(host, "An unhandled exception") ? KvTd::kExitConfiguration
                     : Told(host, "error description")    ? KvTd::kExitGrabbing
                                                          : KvTd::kExitDone;
    const bool frames = code == KvTd::kExitGrabbing; // that may have come again
    const bool usual = exitCode == KvTd::kExitDone || exitCode == KvTd::kExitReconfigFailed;
    if (exitCode != code && !(usual && (frames || code == KvTd::kExitDone))) {
        wrong->push_back("exit code " + std::to_string(exitCode) + " in place of " +
                         std::to_string(code));
    }
}

} // namespace faults
