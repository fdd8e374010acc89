/** One fault at one place: what an injector puts into a session, and its name on a command line. */
#pragma once

#include "fake_host.h"
#include "sim_control.h"

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace faults
{

/** Either the camera's, or an answer of the host's. */
struct Fault {
    std::variant<sim::Fault, rig::FakeHost::Tampering> what;

    /** "write:Width:2:Timeout", "call:GevOpenCamera:1:-12",
     * "host:KvGiMainCtx__GetFps:1:NotANumber", "frame:any:7:Lose": where, name, which occurrence,
     * how. */
    std::string Text() const;
    static std::optional<Fault> Parse(std::string_view text);

    /** Raises an exception in an access that the control thread makes (the output lines). */
    bool ThrowsOnControlThread() const;
    /** The camera leaves, and perhaps just then the control thread reaches for it. */
    bool MakesTheCameraLeave() const;
};

/** All the ways in which a place can fail. Each fault is for the first occurrence. */
std::vector<Fault> WaysOfRead(const std::string& feature);
std::vector<Fault> WaysOfWrite(const std::string& feature);
std::vector<Fault> WaysOfCall(const std::string& call);
std::vector<Fault> WaysOfAnswer(const std::string& service, rig::AnswerKind kind);
std::vector<Fault> WaysOfFrame();

void SetOccurrence(Fault* fault, std::uint64_t nth);

} // namespace faults
