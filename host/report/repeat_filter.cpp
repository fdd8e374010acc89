#include "report/repeat_filter.h"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>
#include <utility>

namespace kvgrab
{

namespace
{

constexpr std::int64_t kFirstIntervalMs = 20'000;
constexpr std::size_t kMostGroups = 2000;

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

/** The text with '#' in place of each number that has at least `digits` digits. */
std::string Masked(std::string_view text, std::size_t digits)
{
    std::string masked;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at;
        while (end < text.size() && IsDigit(text[end])) {
            ++end;
        }
        if (end - at >= digits) {
            masked += '#';
        } else {
            masked += text.substr(at, end == at ? 1 : end - at);
        }
        at = std::max(end, at + 1);
    }
    return masked;
}

/** Whether a masked text has no word, as the rows of a table. */
bool IsRowOfNumbers(std::string_view masked)
{
    std::size_t letters = 0;
    for (const char c : masked) {
        letters = std::isalpha(static_cast<unsigned char>(c)) != 0 ? letters + 1 : 0;
        if (letters >= 3) {
            return false;
        }
    }
    return true;
}

} // namespace

struct RepeatFilter::Rule {
    const char* name;
    std::size_t most; ///< lines in a window
    std::int64_t windowMs;
    std::int64_t calmMs;    ///< a group is forgotten when no line came for so long
    std::int64_t longestMs; ///< between two summaries
};

// The same line counts as a repetition for ten minutes, which is longer than the longest usual
// interval between two attempts to reach a camera.
const RepeatFilter::Rule RepeatFilter::kSame = {"same", 10, INT64_MAX, 600'000, 3'600'000};
const RepeatFilter::Rule RepeatFilter::kAlike = {"alike", 10, 20'000, 60'000, 600'000};

RepeatFilter::Verdict RepeatFilter::Judge(std::int64_t nowMs, int level, std::string_view source,
                                          std::string_view text)
{
    constexpr std::size_t kLongNumber = 10;
    const std::string alike = Masked(text, 1);
    const Verdict same =
        source.empty() ? Verdict::Write
                       : JudgeIn(kSame, Masked(text, kLongNumber), nowMs, level, source, text);
    if (same == Verdict::HoldBack || IsRowOfNumbers(alike)) {
        return same;
    }
    const Verdict similar = JudgeIn(kAlike, alike, nowMs, level, source, text);
    return similar == Verdict::Write ? same : similar;
}

RepeatFilter::Verdict RepeatFilter::JudgeIn(const Rule& rule, const std::string& key,
                                            std::int64_t nowMs, int level, std::string_view source,
                                            std::string_view text)
{
    if (groups_.size() >= kMostGroups) {
        ForgetCalmGroups(nowMs);
    }
    Group& group = groups_[fmt::format("{} {}{}", rule.name, source, key)];
    // A clock that was set back starts everything again.
    const bool fresh =
        group.rule == nullptr || nowMs < group.seenMs || nowMs - group.seenMs >= rule.calmMs;
    if (fresh || (!group.noisy && nowMs - group.beganMs >= rule.windowMs)) {
        if (group.heldBack != 0) {
            pending_.push_back(SummaryOf(&group, nowMs));
            nextDueMs_ = INT64_MIN;
        }
        group = {};
        group.rule = &rule;
        group.beganMs = nowMs;
    }
    group.seenMs = nowMs;
    if (!group.noisy) {
        group.noisy = ++group.written >= rule.most;
        if (group.noisy) {
            group.summedMs = nowMs;
            group.intervalMs = kFirstIntervalMs;
        }
        return group.noisy ? Verdict::WriteAsLast : Verdict::Write;
    }
    group.level = level;
    group.own = source.empty();
    group.newest = fmt::format("{}{}", source, text);
    ++group.heldBack;
    group.number = ++heldBack_;
    nextDueMs_ = std::min(nextDueMs_, group.summedMs + group.intervalMs);
    return Verdict::HoldBack;
}

RepeatFilter::Summary RepeatFilter::SummaryOf(Group* group, std::int64_t nowMs)
{
    Summary summary = {group->level, group->own,
                       fmt::format("repeated {} times in {} s: {}", group->heldBack,
                                   std::max<std::int64_t>(nowMs - group->summedMs + 999, 0) / 1000,
                                   group->newest)};
    group->heldBack = 0;
    group->summedMs = nowMs;
    group->intervalMs = std::min(2 * group->intervalMs, group->rule->longestMs);
    return summary;
}

std::vector<RepeatFilter::Summary> RepeatFilter::Due(std::int64_t nowMs)
{
    return nowMs < nextDueMs_ ? std::vector<Summary>() : SumUp(nowMs, false);
}

std::vector<RepeatFilter::Summary> RepeatFilter::Rest(std::int64_t nowMs)
{
    return SumUp(nowMs, true);
}

/** In the order in which the newest lines came. */
std::vector<RepeatFilter::Summary> RepeatFilter::SumUp(std::int64_t nowMs, bool all)
{
    nextDueMs_ = INT64_MAX;
    std::vector<Group*> due;
    for (auto& entry : groups_) {
        Group& group = entry.second;
        const std::int64_t dueMs = group.summedMs + group.intervalMs;
        if (group.heldBack != 0 && (all || nowMs >= dueMs)) {
            due.push_back(&group);
        } else if (group.heldBack != 0) {
            nextDueMs_ = std::min(nextDueMs_, dueMs);
        }
    }
    std::sort(due.begin(), due.end(),
              [](const Group* left, const Group* right) { return left->number < right->number; });
    std::vector<Summary> summaries = std::exchange(pending_, {});
    for (Group* group : due) {
        summaries.push_back(SummaryOf(group, nowMs));
    }
    return summaries;
}

/** Makes room. */
void RepeatFilter::ForgetCalmGroups(std::int64_t nowMs)
{
    std::erase_if(groups_, [nowMs](const auto& entry) {
        const Group& group = entry.second;
        return group.heldBack == 0 && nowMs - group.seenMs >= group.rule->calmMs;
    });
    if (groups_.size() >= kMostGroups) {
        pending_ = SumUp(nowMs, true);
        nextDueMs_ = INT64_MIN;
        groups_.clear();
    }
}

} // namespace kvgrab
