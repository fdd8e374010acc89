/** What the driver sets on a camera for a configuration. Pure. */
#pragma once

#include "config/config.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kvgrab
{

/** A feature, with the entry of the selector at which it is meant; both empty: it has none. */
struct FeatureRef {
    std::string name;
    std::string selector = {};
    std::string selected = {};
    bool selectorIsShared = false; ///< another thread sets the selector too
};

/** An entry of an enumeration, or "true" or "false" of a boolean. */
struct FeatureState {
    std::string feature;
    std::string entry;
};

/** How numbers of a feature are shown. */
enum class Scale {
    Plain,
    Decibel ///< the camera has factors, the configuration decibels
};

/** One value that the driver sets. */
struct PlannedSetting {
    std::string key; ///< of the configuration
    FeatureRef feature;
    // What is requested: a number, the numeric value of an entry, or an entry.
    std::optional<double> number; ///< as the camera gets it
    std::optional<std::int64_t> code;
    std::string entry; ///< with a numeric value: its usual name

    Scale scale = Scale::Plain;
    std::string unit;
    double tolerance = 0; ///< of a number: deviation by which a camera may round it, as a fraction
    /** What the driver compares with the range, if it isn't what it writes. */
    std::optional<double> compared;

    std::vector<FeatureState> also; ///< have to hold too; a feature that is missing doesn't count
    std::vector<FeatureState> instead; ///< one of them is as good
    /** Whether the value can be read back: not while another thread is still setting it. */
    bool readBack = true;
    /** An automatic function may lock the feature until the driver switches it off. */
    bool mayBeLocked = false;

    // Before it is set:
    std::string limitFeature;  ///< has the largest value in place of the feature's own limit
    double limitTaken = 0;     ///< what of it another setting takes
    std::string limitedBy;     ///< says what else decides about the range, as half a sentence
    std::string obstacle;      ///< why the rest of the configuration keeps it from being in force
    std::string kept;          ///< why the driver would leave another value as it is
    std::string obstacleNeeds; ///< the obstacle counts only if the camera has this feature
};

/** In the order in which the driver sets them. */
std::vector<PlannedSetting> PlannedSettings(const Config& config);

/** The number as it is shown, with the setting's unit if `withUnit`. */
std::string NumberText(const PlannedSetting& setting, double value, bool withUnit);

/** What is requested, as it is shown. */
std::string RequestedText(const PlannedSetting& setting);

} // namespace kvgrab
