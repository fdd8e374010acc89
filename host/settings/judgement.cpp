#include "settings/judgement.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace kvgrab
{

namespace
{

using Outcome = Judgement::Outcome;

/** A verified write of a float takes what exceeds a limit by less than this part of it. */
constexpr double kSnapsToLimit = 1e-6;

bool Near(double value, double wanted, double tolerance)
{
    return std::abs(value - wanted) <= tolerance * std::max(std::abs(wanted), std::abs(value));
}

/** Whether the feature itself has what is requested. */
bool HasValue(const PlannedSetting& setting, const FeatureFacts& facts)
{
    if (setting.number) {
        // Numbers went through a float, which has seven digits.
        return facts.value &&
               Near(*facts.value, *setting.number, std::max(setting.tolerance, 1e-6));
    }
    if (setting.code) {
        return facts.value && *facts.value == static_cast<double>(*setting.code);
    }
    return facts.text == setting.entry;
}

std::string ValueText(const PlannedSetting& setting, const FeatureFacts& facts)
{
    if (!facts.selectorElsewhere.empty()) {
        return "";
    }
    return setting.number && facts.value ? NumberText(setting, *facts.value, true) : facts.text;
}

std::string EntriesText(const FeatureFacts& facts)
{
    constexpr std::size_t kMost = 26; // characters
    std::string text;
    for (const FeatureFacts::Entry& entry : facts.entries) {
        if (!text.empty() && text.size() + entry.name.size() > kMost) {
            return fmt::format("{} ...", text);
        }
        text = text.empty() ? entry.name : fmt::format("{} {}", text, entry.name);
    }
    return text;
}

std::string RangeText(const PlannedSetting& setting, const FeatureFacts& facts)
{
    if (!facts.min || !facts.max) {
        return EntriesText(facts);
    }
    const std::string range = fmt::format("{} .. {}", NumberText(setting, *facts.min, false),
                                          NumberText(setting, *facts.max, false));
    return facts.increment > 1 ? fmt::format("{} step {:.7g}", range, facts.increment) : range;
}

/** Why a number doesn't fit the range; empty if it does. */
std::string RangeError(const PlannedSetting& setting, const FeatureFacts& facts, double number)
{
    const double snaps = facts.increment == 0 ? kSnapsToLimit : 0;
    if (facts.min && number < *facts.min - snaps * std::abs(*facts.min)) {
        return fmt::format("{} is below {}", NumberText(setting, number, true),
                           NumberText(setting, *facts.min, false));
    }
    if (facts.max && number > *facts.max + snaps * std::abs(*facts.max)) {
        const std::string above = fmt::format("{} is above {}", NumberText(setting, number, true),
                                              NumberText(setting, *facts.max, false));
        return setting.limitedBy.empty() ? above : fmt::format("{} ({})", above, setting.limitedBy);
    }
    if (facts.increment > 1) {
        const double step = facts.increment;
        const double min = facts.min.value_or(0);
        // The driver counts from 0, the camera from its smallest value.
        if (std::fmod(number, step) != 0 || std::fmod(number - min, step) != 0) {
            return fmt::format("{} is no multiple of {:.7g}", NumberText(setting, number, true),
                               step);
        }
    }
    return "";
}

/** Judges one setting. */
class Judge
{
public:
    Judge(const PlannedSetting& setting, const FactsOf& factsOf, Moment moment)
        : setting_(setting), factsOf_(factsOf), moment_(moment)
    {
    }

    Judgement Run()
    {
        const bool before = moment_ == Moment::Before;
        facts_ = factsOf_(setting_.feature, LooksOnce() ? Look::Everything : Look::Value);
        const bool holds = setting_.readBack && Holds();
        result_.now = setting_.readBack || before ? ValueText(setting_, facts_) : "";
        if (missing_ != nullptr) {
            result_.now = fmt::format("{} ({} {})", result_.now, missing_->feature, MissingState());
        }
        if (holds && !before) {
            result_.outcome = Outcome::InForce;
            return result_;
        }
        if (!LooksOnce()) {
            facts_ = factsOf_(setting_.feature, Look::Everything);
        }
        ApplyLimit();
        result_.range = RangeText(setting_, facts_);
        const std::string why = before || !setting_.readBack ? WhyRefused(holds) : WhyNotInForce();
        if (!why.empty()) {
            result_.outcome = Outcome::NotTaken;
            result_.why = why;
        } else if (holds) {
            result_.outcome = Outcome::InForce;
        } else if (!facts_.trouble.empty() && facts_.entries.empty()) {
            result_.why = facts_.trouble;
        } else if (before) {
            result_.outcome = Outcome::Settable;
        } else if (setting_.readBack) {
            result_.outcome = Outcome::NotTaken;
            result_.why = "the camera kept another value";
        }
        return result_;
    }

private:
    bool LooksOnce() const { return moment_ == Moment::Before || !setting_.readBack; }

    /** Whether the camera has what is requested, with all that belongs to it. */
    bool Holds()
    {
        const auto holds = [this](const FeatureState& state, bool ifMissing) {
            const FeatureFacts facts = factsOf_({.name = state.feature}, Look::Value);
            return facts.present ? facts.text == state.entry : ifMissing;
        };
        const bool own = facts_.selectorElsewhere.empty() && HasValue(setting_, facts_);
        if (!own) {
            return facts_.present &&
                   std::any_of(setting_.instead.begin(), setting_.instead.end(),
                               [&](const FeatureState& state) { return holds(state, false); });
        }
        const auto missing =
            std::find_if(setting_.also.begin(), setting_.also.end(),
                         [&](const FeatureState& state) { return !holds(state, true); });
        if (missing == setting_.also.end()) {
            return true;
        }
        missing_ = &*missing;
        return false;
    }

    /** A limit that other settings of the plan change. */
    void ApplyLimit()
    {
        if (moment_ != Moment::Before || setting_.limitFeature.empty()) {
            return;
        }
        const auto most = factsOf_({.name = setting_.limitFeature}, Look::Value).value;
        if (most && facts_.min) {
            const double room = *most - setting_.limitTaken;
            const double step = std::max(facts_.increment, 1.0);
            facts_.max = std::max(*facts_.min, room - std::fmod(room - *facts_.min, step));
        }
    }

    std::string MissingState() const
    {
        return factsOf_({.name = missing_->feature}, Look::Value).text;
    }

    std::string MissingText() const
    {
        return facts_.present ? "" : fmt::format("the camera has no {}", setting_.feature.name);
    }

    /** Why the camera can't take the value; empty if it can. */
    std::string WhyValueRefused()
    {
        for (const std::optional<double>& number : {setting_.compared, setting_.number}) {
            const std::string error = number ? RangeError(setting_, facts_, *number) : "";
            if (!error.empty()) {
                result_.beyondLimit =
                    !setting_.limitedBy.empty() && facts_.max && *number > *facts_.max;
                return error;
            }
        }
        if (setting_.number || facts_.entries.empty()) {
            return "";
        }
        const bool offered = std::any_of(
            facts_.entries.begin(), facts_.entries.end(), [this](const FeatureFacts::Entry& entry) {
                return setting_.code ? entry.code == *setting_.code : entry.name == setting_.entry;
            });
        return offered ? ""
                       : fmt::format("{} doesn't offer {}", setting_.feature.name, setting_.entry);
    }

    /** Why the driver won't be able to set it; empty if it will. */
    std::string WhyRefused(bool holds)
    {
        if (!facts_.present) {
            return MissingText();
        }
        const std::string error = WhyValueRefused();
        if (!error.empty()) {
            return error;
        }
        if (!setting_.obstacle.empty() &&
            (setting_.obstacleNeeds.empty() ||
             factsOf_({.name = setting_.obstacleNeeds}, Look::Value).present)) {
            return setting_.obstacle;
        }
        if (!holds && !setting_.kept.empty()) {
            return setting_.kept;
        }
        const bool locked = !facts_.writable && facts_.readable && !setting_.mayBeLocked &&
                            facts_.selectorElsewhere.empty();
        return locked && !holds ? fmt::format("{} is read-only", setting_.feature.name) : "";
    }

    /** Why it isn't in force after it was set, as far as that can be seen. */
    std::string WhyNotInForce()
    {
        if (!facts_.present) {
            return MissingText();
        }
        if (!facts_.trouble.empty()) {
            return "";
        }
        const std::string error = WhyValueRefused();
        if (!error.empty()) {
            return error;
        }
        if (missing_ != nullptr) {
            return fmt::format("{} is {}", missing_->feature, MissingState());
        }
        return setting_.kept.empty() ? setting_.obstacle : setting_.kept;
    }

    const PlannedSetting& setting_;
    const FactsOf& factsOf_;
    Moment moment_;
    FeatureFacts facts_;
    const FeatureState* missing_ = nullptr; ///< what else doesn't hold, although the value does
    Judgement result_;
};

bool IsRegion(const JudgedSetting& judged)
{
    return judged.setting.key.starts_with("region.");
}

/** What settings mean for each other before they are set. */
void JudgeTogether(std::vector<JudgedSetting>& all)
{
    const bool noRegion = std::any_of(all.begin(), all.end(), [](const JudgedSetting& judged) {
        return IsRegion(judged) && judged.judgement.beyondLimit;
    });
    bool changesFrame = false;
    for (JudgedSetting& judged : all) {
        Judgement& judgement = judged.judgement;
        if (IsRegion(judged) && noRegion && judgement.outcome == Outcome::Settable) {
            judgement.outcome = Outcome::NotTaken;
            judgement.why = "the driver leaves the whole region as it is if it exceeds the sensor";
        }
        changesFrame = changesFrame || ((IsRegion(judged) || judged.setting.code) &&
                                        judgement.outcome == Outcome::Settable);
        if (judged.setting.key == "timing.fps" && judgement.beyondLimit && changesFrame) {
            judgement.outcome = Outcome::Unknown;
            judgement.why = fmt::format("{}, but region or format change first and may allow more",
                                        judgement.why);
        }
    }
}

} // namespace

std::vector<JudgedSetting> JudgeSettings(const std::vector<PlannedSetting>& settings,
                                         const FactsOf& factsOf, Moment moment)
{
    std::vector<JudgedSetting> all;
    all.reserve(settings.size());
    for (const PlannedSetting& setting : settings) {
        all.push_back({setting, Judge(setting, factsOf, moment).Run()});
    }
    if (moment == Moment::Before) {
        JudgeTogether(all);
    }
    return all;
}

} // namespace kvgrab
