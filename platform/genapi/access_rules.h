/** The rules that an access to a node must keep, the same for nodes in memory and on the wire:
 *  their order, their limits, and the exceptions that report a violation.
 *
 *  The access mode is checked first, then the value. A verified write that breaks a rule raises
 *  that rule's exception before the camera is reached. The two families of nodes differ only in
 *  what happens to an unverified write that breaks a rule (Unverified). */
#pragma once

#include "gen_api.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace genapi
{

using GenApi_3_0::EAccessMode;

/** What happens to an unverified write that breaks a rule. Either way it ends in a
 *  RuntimeException.
 */
enum class Unverified {
    /** In memory: it reaches the camera, where it is counted and faults are injected, and the
     *  camera refuses it. */
    ReachesCamera,
    /** On the wire: it is never sent. Some cameras don't answer for seconds when they receive what
     *  their description forbids. */
    StaysHere
};

struct IntegerRange {
    std::int64_t min = 0;
    std::int64_t max = 0;
    std::int64_t inc = 1; ///< not checked when it is 0 or negative
};

struct FloatRange {
    double min = 0;
    double max = 0;
};

/** The rule that a write breaks, with a reason; none when the reason is empty. */
struct Violation {
    enum class Rule {
        Mode,  ///< AccessException: the node or the entry is not writable
        Range, ///< OutOfRangeException; also for a text that is too long
        Entry  ///< InvalidArgumentException: there is no such entry
    };
    Rule rule = Rule::Mode;
    std::string why = {};
    explicit operator bool() const { return !why.empty(); }
};

Violation RangeError(std::int64_t value, const IntegerRange& range);
/** A NaN is outside every range. */
Violation RangeError(double value, const FloatRange& range);
Violation EntryError(bool exists, EAccessMode entryMode);
/** A text has at most `maxLength` bytes, and none of them is zero, since a register's text ends
 *  there. */
Violation TextError(std::string_view text, std::int64_t maxLength);

/** Returns the value, or the limit that it exceeds by less than a millionth of that limit. */
double SnappedToLimit(double value, const FloatRange& range);

/** What is written in place of the value when a command is executed, in the journal and in error
 * texts. */
inline constexpr std::string_view kExecute = "execute";

/** "RW" */
const char* ModeName(EAccessMode mode);

/** Raises AccessException when the mode doesn't allow reading. */
void RequireReadable(std::string_view feature, EAccessMode mode);

/** A write that is about to be checked. */
struct WriteAttempt {
    std::string_view feature;
    bool verify = true;
    Unverified unverified = Unverified::ReachesCamera;
};

[[noreturn]] void RefuseBeforeCamera(const WriteAttempt& attempt, std::string_view value,
                                     const Violation& broken);
[[noreturn]] void RefuseByCamera(const WriteAttempt& attempt, std::string_view value,
                                 const Violation& broken);

/** Checks a write and returns if the camera may take it. `valueText` returns the value as text for
 *  exceptions, `violation` checks the value and is called only if the mode allows writing, and
 *  `reach` is called when the write reaches the camera. */
template <class ValueText, class Check, class Reach>
void CheckWrite(const WriteAttempt& attempt, EAccessMode mode, const ValueText& valueText,
                const Check& violation, const Reach& reach)
{
    const bool refusedHere = attempt.verify || attempt.unverified == Unverified::StaysHere;
    Violation broken;
    if (!GenApi_3_0::IsWritable(mode)) {
        broken = {Violation::Rule::Mode, "not writable now"};
    } else {
        broken = violation();
    }
    if (broken && refusedHere) {
        RefuseBeforeCamera(attempt, valueText(), broken);
    }
    reach();
    if (broken) {
        RefuseByCamera(attempt, valueText(), broken);
    }
}

} // namespace genapi
