/** Keeps lines that repeat themselves from filling a log: the first ones are written, the rest is
 *  counted and summed up at growing intervals.
 *
 *  Lines are grouped in two ways. The same line again, but for the long numbers in it (clock
 *  readings), says nothing new: from a camera that is looked for every few seconds, for example.
 *  Lines that differ in their numbers only may be news, such as a value that was set; they are held
 *  back only when they come fast. Rows of bare numbers belong to the table above them and are
 *  never held back for being alike.
 *
 *  Depends on its arguments alone; not thread-safe. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace kvgrab
{

class RepeatFilter
{
public:
    /** A line that sums up what was held back: "repeated 107 times in 20 s: TEXT". */
    struct Summary {
        int level;
        bool own; ///< it is about kvgrab's own lines
        std::string text;
    };
    enum class Verdict {
        Write,
        WriteAsLast, ///< the next ones like it will be held back, unless they stop coming
        HoldBack,
    };

    /** Judges a line that comes at `nowMs`, on any clock. `source` names the place in the program
     *  that logs it, empty for a line of kvgrab's own; only lines of one place are compared, and
     *  kvgrab's own lines only when they come fast. */
    Verdict Judge(std::int64_t nowMs, int level, std::string_view source, std::string_view text);

    /** The summaries that are due. Costs next to nothing while there is none. */
    std::vector<Summary> Due(std::int64_t nowMs);
    /** The summaries of everything that was held back since the last ones. */
    std::vector<Summary> Rest(std::int64_t nowMs);

private:
    struct Rule;
    struct Group {
        const Rule* rule = nullptr;
        int level = 0; ///< of the newest line that was held back, like the next two
        bool own = false;
        std::string newest;
        std::int64_t beganMs = 0;    ///< of the window in which lines are counted
        std::int64_t seenMs = 0;     ///< when the newest line came
        std::size_t written = 0;     ///< in the window
        bool noisy = false;          ///< lines are held back
        std::size_t heldBack = 0;    ///< since the last summary
        std::uint64_t number = 0;    ///< of the newest line, among all that were held back
        std::int64_t summedMs = 0;   ///< when the last summary was written
        std::int64_t intervalMs = 0; ///< to the next one
    };
    static const Rule kSame;
    static const Rule kAlike;

    Verdict JudgeIn(const Rule& rule, const std::string& key, std::int64_t nowMs, int level,
                    std::string_view source, std::string_view text);
    void ForgetCalmGroups(std::int64_t nowMs);
    std::vector<Summary> SumUp(std::int64_t nowMs, bool all);
    static Summary SummaryOf(Group* group, std::int64_t nowMs);

    std::unordered_map<std::string, Group> groups_;
    std::vector<Summary> pending_; ///< of groups that are gone
    std::uint64_t heldBack_ = 0;
    std::int64_t nextDueMs_ = INT64_MAX;
};

} // namespace kvgrab
