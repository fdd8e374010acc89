/** Faults that can be injected into camera calls, node accesses and frames, and what the journal
 *  keeps of these. The same for every backend; sim_control.h has the calls that arm faults and read
 *  the journal. */
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
    Throw,         ///< Access, Read, Write: `exception` with `text`
    Fail,          ///< Call: returns `value` as status without doing its work; calls that return a
                   ///  pointer return null
    Lose,          ///< Frame: lost on the link
    Incomplete,    ///< Frame: delivered with data missing
    Delay,         ///< Frame: arrives `value` nanoseconds late. Access, Call: takes so long
    NullImage,     ///< Frame: its image address is null
    NullFrame,     ///< Frame: the wait succeeds with a null frame
    Timestamp,     ///< Frame: its time stamp is `value` ticks, halves included
    ZeroTimestamp, ///< Frame: its time stamp is 0, the halves are right
    JumpTicks,     ///< Frame: the tick counter jumps by `value` before it, for good
    Detach         ///< any: the camera leaves, and returns after `value` nanoseconds (0: never);
                   ///  simulated cameras only
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
    std::uint64_t times = 1; ///< and then this often in a row; 0: for ever
    Effect effect = Effect::Throw;
    ExceptionKind exception = ExceptionKind::Runtime;
    std::int64_t value = 0;
    std::string text = "scripted fault";
    bool operator==(const Fault&) const = default;
};

/** How many accesses, calls and frames there were: for a series of sessions that injects a fault
 *  into each of them once. */
struct Counts {
    std::uint64_t accesses = 0; ///< node reads and writes
    std::uint64_t reads = 0;
    std::uint64_t writes = 0;
    std::uint64_t calls = 0;  ///< camera calls
    std::uint64_t frames = 0; ///< frames that left a sensor
};

/** One thing that happened. Kinds of the camera: "cam" (a write: "Width=640"), "read"
 *  ("Width=1920", ranges as "Width.Min=16"), "mode" (access mode asked: "ChunkEnable:RW",
 *  "ChunkSelector.Gain:RW"), "gev" (a camera call: "GevStartTransfer(-1)=0"), "fault" (a fault
 *  that took effect: "write Width", in place of the access that it made fail). Others add kinds of
 *  their own. */
struct JournalEntry {
    std::string kind;
    std::string text;
};

} // namespace injection
