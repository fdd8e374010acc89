// The signals that the driver sees, round by round, and catching real signals.

#include "session/signal_state.h"
#include "session/signals.h"

#include <gtest/gtest.h>

#include <cctype>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>

namespace
{

using namespace kvgrab;

/** One step of a script: +T, +Q, +R, +1, +2 raise a signal (+T2 is the second
 *  that counts), ?T and so on (?- for none) checks what
 *  the driver is told; what the host does has a word; a number is the time in milliseconds. */
void Play(SignalState& state, const std::string& step, std::int64_t* nowNs)
{
    constexpr std::string_view kLetters = "-TR12Q"; // by KvTd::SignalState
    if (step == "frame") {
        state.RoundHadFrame();
    } else if (step == "miss") {
        state.RoundMissed();
    } else if (step == "end") {
        state.SessionEnded();
    } else if (step == "read") {
        state.ReconfigurationBegins();
    } else if (std::isdigit(step[0]) != 0) {
        *nowNs = std::stoll(step) * 1'000'000;
    } else if (step[0] == '+') {
        const auto counted =
            state.Raise(static_cast<KvTd::SignalState>(kLetters.find(step[1])), *nowNs);
        EXPECT_TRUE(step.size() == 2 || counted == step[2] - '0') << counted;
    } else {
        EXPECT_EQ(kLetters.at(static_cast<std::size_t>(state.Check())), step[1]);
    }
}

TEST(SignalState, TellsEachSignalForAsLongAsItHolds)
{
    const struct {
        const char* rule;
        const char* script;
        bool terminating;
    } cases[] = {
        {"terminate stays, also after the session", "?- +T ?T miss ?T frame ?T end ?T", true},
        {"quit stays, also after the session", "+Q ?Q frame ?Q frame ?Q end ?Q", true},
        {"reconfigure stays until the file is read; one that comes meanwhile counts again",
         "+R ?R miss ?R frame ?R read +R ?R read ?-", false},
        {"usr1 is told once, to a round with a frame", "+1 ?1 miss ?1 miss ?1 frame ?- miss ?-",
         false},
        {"usr2 too", "+2 ?2 miss ?2 frame ?- miss ?-", false},
        {"usr that the end of a session swallowed waits for the next", "+2 ?2 end ?2 frame end ?-",
         false},
        {"several are told in order, and none is lost",
         "+2 +1 +R ?R read ?1 +1 frame ?1 frame ?2 frame ?-", false},
        {"the end comes first", "+1 +R +T ?T", true},
        {"only terminates are counted", "+Q0 800 +T1 +R0 1300 +T2", true},
        {"a terminate soon after the first doesn't count", "+T1 +T1 500 +T1 501 +T2", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.rule);
        SignalState state;
        std::int64_t nowNs = 1;
        std::istringstream steps(c.script);
        for (std::string step; steps >> step;) {
            SCOPED_TRACE(step + " at " + std::to_string(steps.tellg()));
            Play(state, step, &nowNs);
        }
        EXPECT_EQ(state.Terminating(), c.terminating);
    }
}

void NoCleanup(void*) noexcept {}

TEST(SignalCatcher, EachSignalHasItsStateAndEndsAWait)
{
    const std::pair<int, KvTd::SignalState> signals[] = {
        {SIGHUP, KvTd::kSignalReconfigure}, {SIGUSR1, KvTd::kSignalUsr1},
        {SIGUSR2, KvTd::kSignalUsr2},       {SIGQUIT, KvTd::kSignalQuit},
        {SIGTERM, KvTd::kSignalTerminate},
    };
    for (const auto& [number, expected] : signals) {
        SignalState state;
        SignalCatcher catcher;
        std::string error;
        ASSERT_TRUE(catcher.Install(&state, NoCleanup, nullptr, -1, &error)) << error;
        std::raise(number);
        EXPECT_TRUE(catcher.Wait(60'000)) << "came before the wait, counts all the same";
        EXPECT_FALSE(catcher.Wait(0)) << "told once";
        EXPECT_EQ(state.Check(), expected);
        std::raise(SIGPIPE); // must not end the process
    }
}

} // namespace
