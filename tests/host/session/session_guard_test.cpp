// When a session is ended early, in virtual time.

#include "session/session_guard.h"
#include "tests/base/text_cases.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sstream>

using namespace kvgrab;

namespace
{

constexpr std::int64_t kNsPerMs = 1'000'000;

/** Plays the steps of a case. */
std::string OutcomeOf(const std::string& script)
{
    SessionGuard guard;
    GuardView view;
    std::int64_t limitNs = 0;
    std::string outcome = "nothing";
    std::istringstream steps(script);
    for (std::string step; std::getline(steps, step, ',');) {
        std::istringstream words(step);
        std::int64_t ms = 0;
        std::string what;
        words >> ms >> what;
        const std::int64_t nowNs = ms * kNsPerMs;
        view.terminating = view.terminating || what == "end";
        view.grabbing = (view.grabbing || what == "grab") && what != "stop";
        if (what == "grab" || what == "frame" || what == "resumed") {
            view.newestNs = nowNs;
        } else if (what == "limit") {
            words >> limitNs;
            limitNs *= kNsPerMs;
        }
        view.noFramesNs = what == "paused" ? 0 : limitNs;
        const GuardVerdict verdict = guard.Look(nowNs, view);
        if (verdict.end != EarlyEnd::None) {
            view.interrupted = true;
            outcome = fmt::format(
                "{} at {}", verdict.end == EarlyEnd::NoFrames ? "no frames" : "asked to end", ms);
        } else if (verdict.leave) {
            outcome += fmt::format(", leaves at {}", ms);
        } else {
            EXPECT_GT(verdict.lookAgainNs, nowNs) << script;
        }
    }
    return outcome;
}

TEST(SessionGuard, InterruptsSessionsThatDoNotEndOrDeliverNothing)
{
    ExpectOutcomes(SESSION_CASES "/guard_cases.txt", OutcomeOf);
}

TEST(SessionGuard, LimitIsTenSecondsOrFivePeriodsUnlessItIsConfiguredOrATriggerIsAwaited)
{
    constexpr std::int64_t kSecond = 1'000'000'000;
    EXPECT_EQ(NoFramesLimitNs({}, 40'000, false), 10 * kSecond);
    EXPECT_EQ(NoFramesLimitNs({}, 4'000'000'000, false), 20'000 * kSecond);
    EXPECT_EQ(NoFramesLimitNs({}, 40'000, true), 0);
    EXPECT_EQ(NoFramesLimitNs(0.5, 40'000, true), kSecond / 2);
    EXPECT_EQ(NoFramesLimitNs(0.0, 40'000, false), 0);
}

} // namespace
