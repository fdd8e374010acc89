/** The rules that an access to a node has to keep, the same for nodes in memory and on the wire:
 *  their order, their limits, and the exceptions that tell which of them was broken.
 *
 *  The access mode comes first, then the value. A verified write that breaks a rule raises that
 *  rule's exception before the camera is reached. The two families of nodes differ only in what
 *  happens to an unverified write that breaks a rule (Unverified). */
#pragma once

#include "gen_api.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace genapi
{

using GenApi_3_0::EAccessMode;

/** What an unverified write does that breaks a rule. Either way it ends in a RuntimeException. */
enum class Unverified {
    /** In memory: it reaches the camera, where it is counted and faults are injected, and the
     *  camera refuses it. */
    ReachesCamera,
    /** On the wire: it never goes out. Some cameras keep silent for seconds when they are asked for
     *  what their description forbids. */
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

/** The rule that a write breaks; with an empty text it breaks none. */
struct Violation {
    enum class Rule {
        Mode,  ///< AccessException: not writable, or an entry that is not
        Range, ///< OutOfRangeException
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

/** The limit in place of a value that is beyond it by less than a millionth of that limit. */
double SnappedToLimit(double value, const FloatRange& range);

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

/** Checks a write and returns when the camera may take it. `valueText` returns the value for
 *  descriptions, `violation` checks the value and is called only when the mode allows writing, and
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
