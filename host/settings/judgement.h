/** Compares what is planned with what a camera says. Pure: what the camera says comes through a
 *  function. */
#pragma once

#include "settings/planned_settings.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kvgrab
{

/** What a camera says of a feature. */
struct FeatureFacts {
    struct Entry {
        std::string name;
        std::int64_t code = 0;
    };
    bool present = false;
    bool readable = false;
    bool writable = false;
    std::optional<double> value; ///< a number, or the numeric value of an entry
    std::string text;            ///< an entry, "true" or "false"
    std::optional<double> min;
    std::optional<double> max;
    double increment = 0;       ///< 0: none
    std::vector<Entry> entries; ///< that can be chosen
    /** The selector's value, if it isn't the one that is meant. The value is another
     *  one then, and access and limits may be. */
    std::string selectorElsewhere;
    std::string trouble; ///< why something of this couldn't be read
};

/** How much of a feature is read. */
enum class Look { Value, Everything };
using FactsOf = std::function<FeatureFacts(const FeatureRef&, Look)>;

/** When it is judged. */
enum class Moment {
    Before, ///< will the camera take it?
    After   ///< did it?
};

struct Judgement {
    enum class Outcome {
        InForce,  ///< the camera has it
        Settable, ///< it hasn't, but would take it
        NotTaken, ///< it doesn't
        Unknown   ///< that can't be seen
    };
    Outcome outcome = Outcome::Unknown;
    std::string range;        ///< or the entries; empty: not known, or not read
    std::string now;          ///< value in force; empty: not known
    std::string why;          ///< half a sentence, if it isn't taken or isn't known
    bool beyondLimit = false; ///< above a largest value that other settings change
};

struct JudgedSetting {
    PlannedSetting setting;
    Judgement judgement;
};

/** Afterwards, the range is read only of settings that were not taken. */
std::vector<JudgedSetting> JudgeSettings(const std::vector<PlannedSetting>& settings,
                                         const FactsOf& factsOf, Moment moment);

} // namespace kvgrab
