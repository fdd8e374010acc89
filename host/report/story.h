/** The lines that frame the story of a run in the log, and why a run without pictures failed. Pure.
 */
#pragma once

#include "config/config.h"
#include "exit_status.h"
#include "report/progress.h"

#include <string>
#include <string_view>

namespace kvgrab
{

/** "kvgrab 0.1.0 starts, configuration: my.toml, pictures: png in frames". */
std::string StartLine(std::string_view configPath, const Config& config);

/** "kvgrab ends with status 0: all frames that were asked for are grabbed". */
std::string EndLine(ExitStatus status, std::string_view sentence);

/** How a run went that otherwise has nothing to complain about. */
struct PictureOutcome {
    PictureCounts pictures;
    bool asked = false;       ///< a signal ended the run
    std::string_view trouble; ///< the newest of the export
};

/** The last sentence, if pictures were left when the time to write them was over. `cutOff`:
 * standard output has only a part of one of them. */
std::string LeftUnwritten(std::string_view why, std::uint64_t pictures, bool cutOff);

/** Why the run failed although it ended as it should: it was to write pictures and wrote none.
 *  Empty if it didn't fail. */
std::string WhyNoPicture(const PictureOutcome& outcome);

} // namespace kvgrab
