/** A file of all settings of a camera: the table [features] with a line for each feature that can
 *  be written and, if a selector chooses among several values, for each of these. */
#pragma once

#include "gen_api.h"

#include <string>
#include <string_view>
#include <vector>

namespace kvgrab
{

/** What kvgrab features --save writes. */
struct FeatureFile {
    std::string text;
    std::size_t values = 0;
    std::vector<std::string> leftOut; ///< features that are not in it, with the reason
};

/** Reads the settings, in the order in which the camera describes them. `camera` names it in the
 *  heading. Moves selectors and puts them back. Throws what a node throws that doesn't answer. */
FeatureFile WriteFeatureFile(const GenApi::CNodeMapRef& map, std::string_view camera);

/** Whether a feature belongs to the connection rather than to the picture: addresses, heartbeat,
 *  stream channels. Such features are not saved, since they must not reach another camera. */
bool BelongsToConnection(std::string_view feature);

} // namespace kvgrab
