/** Features and their values as users write them, on the command line and in files. Pure. */
#pragma once

#include "base/toml_reader.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvgrab
{

/** "Width", "Gain[DigitalAll]" or "LUTValue[Luminance,7]". */
struct FeatureName {
    std::string feature;
    std::vector<std::string> selected; ///< a value for each selector of the feature, or none
    bool operator==(const FeatureName&) const = default;

    std::string Text() const; ///< printable
};

/** Nothing if it is no such text. */
std::optional<FeatureName> ParseFeatureName(std::string_view text);

/** A feature, and the value that it should have. */
struct FeatureSetting {
    FeatureName name;
    std::string value; ///< a text; its meaning depends on the feature's type
    std::string where; ///< "my.toml:3:9"; empty on the command line
    /** Lines may move in their file. */
    bool operator==(const FeatureSetting& other) const
    {
        return name == other.name && value == other.value;
    }
};

/** Reads "FEATURE=VALUE"; the value begins after the first "=" and may be empty. */
std::optional<FeatureSetting> ParseSetting(std::string_view text);

/** Reads the table [features], in the order of the file; without it there are no settings. */
std::vector<FeatureSetting> ReadFeatureSettings(base::TableReader& root, std::string_view fileName);

/** Reads a file that contains the table [features] and nothing else. Throws base::TextError. */
std::vector<FeatureSetting> ParseFeatureFile(std::string_view text, std::string_view fileName);

} // namespace kvgrab
