#include "settings/settings_report.h"

#include "cameras/feature_table.h"

#include <fmt/format.h>

#include <algorithm>

namespace kvgrab
{

namespace
{

using Outcome = Judgement::Outcome;

std::string FeatureText(const FeatureRef& feature)
{
    return feature.selected.empty() || feature.selectorIsShared
               ? feature.name
               : fmt::format("{}[{}]", feature.name, feature.selected);
}

const char* VerdictText(Outcome outcome)
{
    switch (outcome) {
    case Outcome::InForce:
        return "in force";
    case Outcome::Settable:
        return "can be set";
    case Outcome::NotTaken:
        return "NOT TAKEN";
    case Outcome::Unknown:
        break;
    }
    return "unknown";
}

bool IsNotTaken(const JudgedSetting& judged)
{
    return judged.judgement.outcome == Outcome::NotTaken;
}

bool IsUnknown(const JudgedSetting& judged)
{
    return judged.judgement.outcome == Outcome::Unknown;
}

std::string NotTakenLine(const JudgedSetting& judged)
{
    const Judgement& judgement = judged.judgement;
    const std::string feature = FeatureText(judged.setting.feature);
    std::string place; // what the camera says of the feature
    if (!judgement.now.empty() && !judgement.range.empty()) {
        place = fmt::format("{} is {}, range {}: ", feature, judgement.now, judgement.range);
    } else if (!judgement.now.empty()) {
        place = fmt::format("{} is {}: ", feature, judgement.now);
    } else if (!judgement.range.empty()) {
        place = fmt::format("{} has the range {}: ", feature, judgement.range);
    }
    return Shown(fmt::format("{} = {}: {}{}", judged.setting.key, RequestedText(judged.setting),
                             place, judgement.why));
}

} // namespace

std::string SettingsTable(const std::vector<JudgedSetting>& settings)
{
    std::vector<std::vector<std::string>> rows = {
        {"key", "feature", "requested", "range", "now", "verdict"}};
    std::string reasons;
    for (const JudgedSetting& judged : settings) {
        const Judgement& judgement = judged.judgement;
        rows.push_back({judged.setting.key, FeatureText(judged.setting.feature),
                        RequestedText(judged.setting), Shown(judgement.range), Shown(judgement.now),
                        VerdictText(judgement.outcome)});
        if (!judgement.why.empty()) {
            reasons += fmt::format("{}: {}.\n", judged.setting.key, Shown(judgement.why));
        }
    }
    const std::string table = Columns(rows);
    return reasons.empty() ? table : fmt::format("{}\n{}", table, reasons);
}

std::size_t CountNotTaken(const std::vector<JudgedSetting>& settings)
{
    return static_cast<std::size_t>(std::count_if(settings.begin(), settings.end(), IsNotTaken));
}

std::size_t CountUnknown(const std::vector<JudgedSetting>& settings)
{
    return static_cast<std::size_t>(std::count_if(settings.begin(), settings.end(), IsUnknown));
}

std::vector<std::string> SettingsNotTaken::Update(const std::vector<JudgedSetting>& settings)
{
    std::vector<std::string> lines;
    std::vector<std::string> news;
    for (const JudgedSetting& judged : settings) {
        if (!IsNotTaken(judged)) {
            continue;
        }
        lines.push_back(NotTakenLine(judged));
        if (std::find(lines_.begin(), lines_.end(), lines.back()) == lines_.end()) {
            news.push_back(fmt::format("the camera did not take {}", lines.back()));
        }
    }
    lines_ = std::move(lines);
    return news;
}

std::string SettingsNotTaken::Summary() const
{
    if (lines_.empty()) {
        return "";
    }
    std::string summary = fmt::format("{} setting{} not taken by the camera:\n", lines_.size(),
                                      lines_.size() == 1 ? "" : "s");
    for (const std::string& line : lines_) {
        summary += fmt::format("  {}\n", line);
    }
    return summary;
}

} // namespace kvgrab
