/** Configurations as TOML texts. Pure. */
#pragma once

#include "config/config.h"
#include "config/config_changes.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

namespace kvgrab
{

/** A text that gives this configuration when it is read. Keys that are not configured are not in
 *  it. */
std::string ConfigText(const Config& config);

/** A configuration with other values of some keys. */
struct ChangedConfig {
    Config config;
    std::vector<std::string> warnings; ///< of keys without effect
    ConfigChanges changes;
};

/** Puts values, by keys such as "exposure.time_us", in place of those of `config`; null takes a key
 *  out of it. The result is checked as a file is. False: `*error` says why it is refused. */
bool ChangeConfig(const Config& config, const nlohmann::json& values, ChangedConfig* changed,
                  std::string* error);

} // namespace kvgrab
