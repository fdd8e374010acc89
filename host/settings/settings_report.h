/** How judged settings are reported. Pure. */
#pragma once

#include "settings/judgement.h"

#include <cstddef>
#include <string>
#include <vector>

namespace kvgrab
{

/** A line for each setting: key, feature, requested, range, now, verdict. Below it, for each
 *  setting that would not be taken or can't be judged, a sentence that says why. */
std::string SettingsTable(const std::vector<JudgedSetting>& settings);

std::size_t CountNotTaken(const std::vector<JudgedSetting>& settings);
std::size_t CountUnknown(const std::vector<JudgedSetting>& settings);

/** The settings that the camera of a run did not take. Grab thread only. */
class SettingsNotTaken
{
public:
    /** What was found now, in place of what was found before. Returns a line for the log for each
     *  setting that is new in this list or has another value in force. */
    std::vector<std::string> Update(const std::vector<JudgedSetting>& settings);

    std::size_t Count() const { return lines_.size(); }
    const std::vector<std::string>& Lines() const { return lines_; }
    /** Lines for the summary; empty if there is none. */
    std::string Summary() const;

private:
    std::vector<std::string> lines_;
};

} // namespace kvgrab
