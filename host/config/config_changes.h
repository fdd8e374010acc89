/** What differs between two configurations, by what it takes to apply the change. Pure. */
#pragma once

#include "config/config.h"

#include <string>
#include <vector>

namespace kvgrab
{

/** The tables (or keys) that differ, by the least that applies them. */
struct ConfigChanges {
    std::vector<std::string> dynamic;    ///< while frames flow
    std::vector<std::string> reload;     ///< while frames flow, when asked to by HUP
    std::vector<std::string> newSession; ///< HUP; the device session ends and the next begins
    std::vector<std::string> restart;    ///< not before kvgrab starts again

    bool Any() const;
    /** Whether everything that differs can be applied unasked, while frames flow. */
    bool OnlyDynamic() const;
};

ConfigChanges Compare(const Config& before, const Config& after);

/** "a, b, c" */
std::string Listed(const std::vector<std::string>& names);

} // namespace kvgrab
