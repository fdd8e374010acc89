// What the driver is told of signals, round by round; and the catching of real ones.

#include "session/signal_state.h"
#include "session/signals.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>

namespace
{

using namespace kvgrab;
using KvTd::kSignalNone;
using KvTd::kSignalQuit;
using KvTd::kSignalReconfigure;
using KvTd::kSignalTerminate;
using KvTd::kSignalUsr1;
using KvTd::kSignalUsr2;

TEST(SignalState, TerminateAndQuitStay)
{
    for (const KvTd::SignalState signal : {kSignalTerminate, kSignalQuit}) {
        SignalState state;
        EXPECT_FALSE(state.Terminating());
        state.Raise(signal);
        for (int round = 0; round < 3; ++round) {
            EXPECT_EQ(state.Check(), signal);
            state.RoundHadFrame();
        }
        state.SessionEnded();
        EXPECT_EQ(state.Check(), signal) << "also for the driver's look after the session";
        EXPECT_TRUE(state.Terminating());
    }
}

TEST(SignalState, ReconfigureStaysUntilTheFileIsRead)
{
    SignalState state;
    state.Raise(kSignalReconfigure);
    EXPECT_EQ(state.Check(), kSignalReconfigure);
    state.RoundMissed();
    EXPECT_EQ(state.Check(), kSignalReconfigure);
    state.ReconfigurationBegins();
    state.Raise(kSignalReconfigure); // while the file is read
    EXPECT_EQ(state.Check(), kSignalReconfigure);
    state.ReconfigurationBegins();
    EXPECT_EQ(state.Check(), kSignalNone);
}

TEST(SignalState, UsrIsToldOnceToARoundWithAFrame)
{
    for (const KvTd::SignalState signal : {kSignalUsr1, kSignalUsr2}) {
        SignalState state;
        state.Raise(signal);
        for (int missed = 0; missed < 3; ++missed) {
            EXPECT_EQ(state.Check(), signal);
            state.RoundMissed();
        }
        EXPECT_EQ(state.Check(), signal);
        state.RoundHadFrame();
        EXPECT_EQ(state.Check(), kSignalNone);
        state.RoundMissed();
        EXPECT_EQ(state.Check(), kSignalNone) << "a later miss brings nothing back";
    }
}

TEST(SignalState, UsrThatTheEndOfASessionSwallowedWaitsForTheNext)
{
    SignalState state;
    state.Raise(kSignalUsr2);
    EXPECT_EQ(state.Check(), kSignalUsr2); // the driver's look after the session
    state.SessionEnded();
    EXPECT_EQ(state.Check(), kSignalUsr2);
    state.RoundHadFrame();
    state.SessionEnded();
    EXPECT_EQ(state.Check(), kSignalNone);
}

TEST(SignalState, SeveralAreToldInOrderAndNoneIsLost)
{
    SignalState state;
    state.Raise(kSignalUsr2);
    state.Raise(kSignalUsr1);
    state.Raise(kSignalReconfigure);
    EXPECT_EQ(state.Check(), kSignalReconfigure);
    state.ReconfigurationBegins();
    EXPECT_EQ(state.Check(), kSignalUsr1);
    state.Raise(kSignalUsr1); // again, while the first one is worked on
    state.RoundHadFrame();
    EXPECT_EQ(state.Check(), kSignalUsr1);
    state.RoundHadFrame();
    EXPECT_EQ(state.Check(), kSignalUsr2);
    state.RoundHadFrame();
    EXPECT_EQ(state.Check(), kSignalNone);
    state.Raise(kSignalUsr1);
    state.Raise(kSignalTerminate);
    EXPECT_EQ(state.Check(), kSignalTerminate);
}

TEST(SignalState, OnlyTerminatesAreCounted)
{
    SignalState state;
    EXPECT_EQ(state.Raise(kSignalQuit), 0);
    EXPECT_EQ(state.Raise(kSignalTerminate), 1);
    EXPECT_EQ(state.Raise(kSignalReconfigure), 0);
    EXPECT_EQ(state.Raise(kSignalTerminate), 2);
}

void NoHurry(void*) noexcept {}

TEST(SignalCatcher, EachSignalHasItsStateAndEndsAWait)
{
    const std::pair<int, KvTd::SignalState> signals[] = {
        {SIGHUP, kSignalReconfigure}, {SIGUSR1, kSignalUsr1},      {SIGUSR2, kSignalUsr2},
        {SIGQUIT, kSignalQuit},       {SIGTERM, kSignalTerminate},
    };
    for (const auto& [number, expected] : signals) {
        SignalState state;
        SignalCatcher catcher;
        std::string error;
        ASSERT_TRUE(catcher.Install(&state, NoHurry, nullptr, &error)) << error;
        std::raise(number);
        EXPECT_TRUE(catcher.Wait(60'000)) << "came before the wait, counts all the same";
        EXPECT_FALSE(catcher.Wait(0)) << "told once";
        EXPECT_EQ(state.Check(), expected);
        std::raise(SIGPIPE); // must not end the process
    }
}

TEST(SignalCatcher, SecondInterruptHurriesOutWithItsOwnStatus)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            SignalState state;
            SignalCatcher catcher;
            std::string error;
            char mark[] = "hurry was called";
            catcher.Install(
                &state,
                [](void* text) noexcept {
                    [[maybe_unused]] const auto written =
                        write(STDERR_FILENO, text, sizeof(mark) - 1);
                },
                mark, &error);
            std::raise(SIGINT);
            std::raise(SIGTERM);
            std::exit(0);
        },
        testing::ExitedWithCode(130), "hurry was called");
}

} // namespace
