/** What a node holds and takes, as texts. Whatever comes from a camera is left as it is; who shows
 *  it makes it printable. */
#pragma once

#include "gen_api.h"

#include <optional>
#include <string>
#include <string_view>

namespace kvgrab
{

/** "integer", "float", "enumeration", "boolean", "string" or "command". */
const char* TypeText(GenApi::INode& node);

/** Whether the node has a value; commands have none. */
bool HasValue(GenApi::INode& node);

/** The value, exactly; a number of the type float in its shortest form. Throws what the node
 *  throws. */
std::string ValueText(GenApi::INode& node);

/** "16 .. 1920 step 4", or the implemented entries, with blanks between them; empty for other
 *  types. Throws what the node throws. */
std::string RangeText(GenApi::INode& node);

/** What the node takes: "an integer, 16 .. 1920 step 4 px". Never throws; leaves out limits that
 *  can't be read. */
std::string ExpectedText(GenApi::INode& node);

/** Writes a value; false if the text is none of the node's type. Throws what the node throws. */
bool WriteText(GenApi::INode& node, std::string_view text);

/** Whether two values of the node are the same for its type, as far as a camera's rounding goes. */
bool SameValue(GenApi::INode& node, std::string_view a, std::string_view b);

} // namespace kvgrab
