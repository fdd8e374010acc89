/** One fault at one place: what an injector puts into a session, and its name on a command line. */
#pragma once

#include "sim_control.h"
#include "tests/support/fake_host.h"

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace faults
{

/** A range of a camera that makes no sense, for the whole session. */
enum class Nonsense { Inverted, Empty, ZeroIncrement, NegativeIncrement, Huge, NotANumber };
struct StrangeRange {
    std::string feature;
    Nonsense nonsense = Nonsense::Inverted;
    std::uint64_t nth = 1; ///< there is only one
    sim::RangeSetup Setup() const;
};

/** A text that a camera tells of itself, of no or of as many characters as fit, for the whole
 *  session. A long maker's name still is the maker's. */
struct CameraText {
    std::string field;
    rig::Extreme extreme = rig::Extreme::EmptyText;
    std::uint64_t nth = 1; ///< there is only one
    void Apply(sim::CameraSetup* camera) const;
    /** Without the maker's name the camera is nobody's. */
    bool Hides() const;
};

/** The camera's, an answer of the host's, or how the camera is made. */
struct Fault {
    std::variant<sim::Fault, rig::FakeHost::Tampering, StrangeRange, CameraText> what;

    /** "write:Width:2:Timeout", "call:GevOpenCamera:1:-12", "range:Width:1:Inverted",
     *  "host:KvGiMainCtx__GetFps:1:NotANumber", "frame:any:7:Lose", "text:serial:1:LongText":
     *  where, name, which occurrence, how. */
    std::string Text() const;
    static std::optional<Fault> Parse(std::string_view text);

    /** Raises an exception in an access that the control thread makes (the output lines). */
    bool ThrowsOnControlThread() const;
    /** May do so: the camera leaves, perhaps just when that thread reaches for it, or a line's
     *  range makes no sense. */
    bool MayThrowOnControlThread() const;
};

/** All the ways in which a place can fail. Each fault is for the first occurrence. */
std::vector<Fault> WaysOfRead(const std::string& feature);
std::vector<Fault> WaysOfWrite(const std::string& feature);
std::vector<Fault> WaysOfCall(const std::string& call);
std::vector<Fault> WaysOfAnswer(const std::string& service, rig::AnswerKind kind);
std::vector<Fault> WaysOfFrame();
std::vector<Fault> WaysOfRange(const std::string& feature);
std::vector<Fault> WaysOfCameraTexts();

void SetOccurrence(Fault* fault, std::uint64_t nth);

} // namespace faults
