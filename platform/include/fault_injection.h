/** Faults that can be injected into camera calls, node accesses and frames, and the entries that
 *  the journal records of these. The same for every backend; sim_control.h has the calls that arm
 *  faults and read the journal. */
#pragma once

#include <cstdint>
#include <string>

namespace injection
{

/** Where a fault takes effect. */
enum class Trigger {
    Access, ///< any value access to a node
    Read,   ///< reading a node's value or range
    Write,  ///< writing a node's value
    Call,   ///< a camera call, by its name
    Frame,  ///< a frame leaving the sensor
    Time    ///< a point in time, `nth` nanoseconds after AddFault; simulated cameras only
};

/** What the fault does. */
enum class Effect {
    Throw,      ///< Access, Read, Write: `exception` with `text`
    Fail,       ///< Call: returns `value` as status without doing its work; calls that return a
                ///  pointer return a null pointer
    Lose,       ///< Frame: lost on the link
    Incomplete, ///< Frame: delivered with data missing
    Delay,      ///< Frame: arrives `value` nanoseconds late. Access, Call: takes that much longer
    NullImage,  ///< Frame: its image address is null
    NullFrame,  ///< Frame: the wait succeeds with a null frame
    Timestamp,  ///< Frame: its time stamp is `value` ticks, halves included
    ZeroTimestamp, ///< Frame: its time stamp is 0, the halves are correct
    JumpTicks,     ///< Frame: the tick counter jumps by `value` before it and stays so
    Detach         ///< any: the camera leaves the network and returns after `value` nanoseconds
                   ///  (0: never); simulated cameras only
};

enum class ExceptionKind {
    InvalidArgument,
    Property,
    LogicalError,
    OutOfRange,
    Runtime,
    Access,
    Timeout,
    DynamicCast,
    Standard, ///< std::runtime_error
    Unknown   ///< something that is no std::exception
};

struct Fault {
    Trigger trigger = Trigger::Access;
    std::string name = {};   ///< feature or call; empty: any
    std::string camera = {}; ///< serial; empty: any
    std::uint64_t nth = 1;   ///< takes effect first at this match after AddFault, from 1
    std::uint64_t times = 1; ///< for this many matches in a row; 0: for ever
    Effect effect = Effect::Throw;
    ExceptionKind exception = ExceptionKind::Runtime;
    std::int64_t value = 0;
    std::string text = "scripted fault";
    bool operator==(const Fault&) const = default;
};

/** Numbers of accesses, calls and frames, by which a test can inject a fault into each of them, one
 *  session after the other. */
struct Counts {
    std::uint64_t accesses = 0; ///< node reads and writes
    std::uint64_t reads = 0;
    std::uint64_t writes = 0;
    std::uint64_t calls = 0;  ///< camera calls
    std::uint64_t frames = 0; ///< frames that left a sensor
};

/** One event. The platform's kinds are "cam" (a write: "Width=640", a command:
 *  "UserSetSave=execute"), "read" ("Width=1920", ranges as "Width.Min=16"), "mode" (a query of the
 *  access mode: "ChunkEnable:RW", "ChunkSelector.Gain:RW"), "gev" (a camera call:
 *  "GevStartTransfer(-1)=0") and "fault" (a fault that took effect: "write Width", in place of the
 *  access that it made fail). Programs add kinds of their own. */
struct JournalEntry {
    std::string kind;
    std::string text;
};

} // namespace injection
