/** The table that `kvgrab features` prints. Pure. */
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kvgrab
{

/** One feature as texts; an empty one prints as "-". */
struct FeatureRow {
    std::string name;
    std::string type;   ///< "integer", "float", "enumeration", "boolean", "string", "command"
    std::string value;  ///< or, in brackets, why it can't be read
    std::string range;  ///< "16 .. 1920 step 4", or the entries
    std::string access; ///< "RW", "RO", "WO", "NA", "NI"
    std::string unit;
};

/** A heading, then a line for each feature, in their order. Printable characters only. */
std::string FeatureTable(const std::vector<FeatureRow>& features);

/** Lines with columns of equal width; the last column isn't padded. */
std::string Columns(const std::vector<std::vector<std::string>>& rows);

/** A camera's text in printable characters; "-" for an empty one. */
std::string Shown(std::string_view text);

} // namespace kvgrab
