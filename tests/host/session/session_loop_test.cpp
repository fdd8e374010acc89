// What follows a device session: the decision, and the loop around it on a driver made here.

#include "session/session_loop.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <memory>
#include <unistd.h>

namespace
{

using namespace kvgrab;
using Kind = NextStep::Kind;
using testing::ElementsAre;
using testing::HasSubstr;

struct DecisionCase {
    SessionOutcome outcome;
    bool retry;
    Kind kind;
    ExitStatus status;
};

/** Names the case in the test's name. */
void PrintTo(const DecisionCase& c, std::ostream* out)
{
    *out << "code " << c.outcome.driverCode << (c.outcome.terminating ? " terminating" : "")
         << (c.outcome.frameCountReached ? " counted" : "")
         << (c.outcome.exportFailed ? " export failed" : "") << (c.retry ? " retry" : "");
}

class Decision : public testing::TestWithParam<DecisionCase>
{
};

TEST_P(Decision, FollowsTheDriversCode)
{
    const DecisionCase& c = GetParam();
    const NextStep step = Decide(c.outcome, c.retry);
    EXPECT_EQ(step.kind, c.kind) << c.outcome.driverCode;
    if (c.kind == Kind::End) {
        EXPECT_EQ(step.status, c.status) << c.outcome.driverCode;
        EXPECT_FALSE(step.sentence.empty());
    }
}

constexpr auto kDone = ExitStatus::Done;
INSTANTIATE_TEST_SUITE_P(
    SessionLoop, Decision,
    testing::Values(
        // in order: code, terminating, frame count reached, export failed
        DecisionCase{{0, false, false, false}, true, Kind::NextSession, kDone},
        DecisionCase{{0, false, true, false}, true, Kind::End, kDone},
        DecisionCase{{0, true, false, false}, true, Kind::End, kDone},
        DecisionCase{{1, false, false, false}, false, Kind::NextSession, kDone},
        DecisionCase{{1, true, false, false}, true, Kind::End, kDone},
        DecisionCase{{2, false, false, false}, true, Kind::RetryLater, kDone},
        DecisionCase{{3, false, false, false}, true, Kind::RetryLater, kDone},
        DecisionCase{{-5, false, false, false}, true, Kind::RetryLater, kDone},
        DecisionCase{{-10, false, false, false}, true, Kind::RetryLater, kDone},
        DecisionCase{{2, false, false, false}, false, Kind::End, ExitStatus::NoCamera},
        DecisionCase{{3, false, false, false}, false, Kind::End, ExitStatus::NoMatchingCamera},
        DecisionCase{{-5, false, false, false}, false, Kind::End, ExitStatus::OpenFailed},
        DecisionCase{{-10, false, false, false}, false, Kind::End, ExitStatus::GrabbingFailed},
        DecisionCase{{-10, true, false, false}, false, Kind::End, kDone},
        DecisionCase{{-1, false, false, false}, true, Kind::End, ExitStatus::Buffers},
        DecisionCase{{-2, true, false, false}, true, Kind::End, ExitStatus::CameraRefused},
        DecisionCase{
            {-2, false, false, false, true}, true, Kind::RetryLater, ExitStatus::CameraRefused},
        DecisionCase{{-2, false, false, false, true}, false, Kind::End, ExitStatus::CameraRefused},
        DecisionCase{{7, false, false, false}, true, Kind::End, ExitStatus::UnknownDriverCode},
        DecisionCase{{0, true, true, true}, true, Kind::End, ExitStatus::ExportFailed}));

/** A host with its parts, a driver made of a list of steps, and a clock that waits advance. */
struct Loop {
    std::string configText = "[session]\nframes = 2\n";
    std::int64_t nowNs = 1;
    std::vector<std::function<int()>> sessions;
    std::size_t sessionsRun = 0;
    std::uint64_t transfer = 0; ///< number of the newest
    std::vector<std::int64_t> waits;
    std::function<void()> duringWait = [] {};

    ConfigStore config{ConfigSource{"f.toml",
                                    [](const std::string&) {
                                        return FileStamp{1, 1, 1};
                                    },
                                    [this](const std::string&, std::string* out, std::string*) {
                                        *out = configText;
                                        return true;
                                    },
                                    [](Config*) {}}};
    SignalState signals;
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Closer> logFile{std::tmpfile()};
    Log log{fileno(logFile.get()), false, 5, [] { return timespec{}; }};
    FrameMemory memory;
    Exporter exporter{ExportOptions()};
    HostSession host{{config, signals, log, memory, exporter, [this] { return nowNs; },
                      [this] {
                          return TransferCounts{transfer, 1, 2, 3};
                      },
                      [this] { return nowNs; }}};

    Loop() { config.Reload(); }
    NextStep Run()
    {
        return RunSessions({host, [this] { return sessions.at(sessionsRun++)(); },
                            [this](std::int64_t ms) {
                                waits.push_back(ms);
                                nowNs += ms * 1'000'000;
                                duringWait();
                            }});
    }
    /** Grabs so many frames in one loop of the driver's. */
    void Grab(int frames)
    {
        ++transfer;
        host.GrabbingBegins();
        for (int i = 0; i < frames; ++i) {
            host.FrameGrabbed(20);
        }
        host.GrabbingEnds();
    }
    std::string LogText() const
    {
        std::string all(static_cast<std::size_t>(lseek(fileno(logFile.get()), 0, SEEK_END)), ' ');
        EXPECT_GE(pread(fileno(logFile.get()), all.data(), all.size(), 0), 0);
        return all;
    }
};

TEST(SessionLoop, WaitsForACameraAndSaysSoOnce)
{
    Loop loop;
    for (int i = 0; i < 5; ++i) {
        loop.sessions.push_back([] { return 2; });
    }
    loop.sessions.push_back([] { return 3; });
    loop.sessions.push_back([&loop] {
        loop.Grab(2);
        return 0;
    });
    EXPECT_EQ(loop.Run().status, ExitStatus::Done);
    EXPECT_EQ(loop.sessionsRun, 7U);
    EXPECT_THAT(loop.waits, testing::Each(2000));
    EXPECT_EQ(loop.waits.size(), 6U);
    const std::string log = loop.LogText();
    EXPECT_EQ(log.find("no camera"), log.rfind("no camera"));
    EXPECT_THAT(log, HasSubstr("none of the cameras is the one"));
}

TEST(SessionLoop, FrameCountIsThatOfADeviceSession)
{
    Loop loop;
    loop.sessions = {[&loop] {
                         loop.Grab(1); // ended by a reconfiguration
                         loop.host.SignalAction(KvTd::kSignalReconfigure);
                         return 0;
                     },
                     [&loop] {
                         loop.Grab(1);
                         return 0;
                     },
                     [&loop] {
                         EXPECT_EQ(loop.host.FramesToGrab(), 2U);
                         loop.Grab(1); // the loop runs twice in a session that changes the format
                         EXPECT_EQ(loop.host.FramesToGrab(), 1U);
                         loop.Grab(1);
                         EXPECT_EQ(loop.host.FramesToGrab(), 1U) << "for a loop past the end";
                         return 0;
                     }};
    EXPECT_EQ(loop.Run().status, ExitStatus::Done);
    EXPECT_EQ(loop.sessionsRun, 3U);
    loop.host.GrabbingBegins(); // a loop that gets no transfer of its own
    loop.host.GrabbingEnds();
    EXPECT_EQ(loop.host.Transfers().incomplete, 8U) << "two of each transfer, and each counts once";
}

TEST(SessionLoop, SignalEndsTheWait)
{
    Loop loop;
    loop.sessions = {[] { return -5; }};
    loop.duringWait = [&loop] { loop.signals.Raise(KvTd::kSignalTerminate); };
    EXPECT_EQ(loop.Run().status, ExitStatus::Done);
    EXPECT_EQ(loop.waits.size(), 1U);
}

TEST(SessionLoop, HangUpWhileWaitingReadsTheFileAndLooksAgainAtOnce)
{
    Loop loop;
    std::string seenModel;
    loop.sessions = {[] { return 3; },
                     [&] {
                         seenModel = loop.config.Current().camera.model;
                         loop.signals.Raise(KvTd::kSignalQuit);
                         return 0;
                     }};
    loop.configText = "[camera]\nmodel = \"New\"\n";
    loop.duringWait = [&loop] { loop.signals.Raise(KvTd::kSignalReconfigure); };
    loop.Run();
    EXPECT_EQ(seenModel, "New");
    EXPECT_EQ(loop.waits.size(), 1U);
    EXPECT_FALSE(loop.signals.ReconfigurationAsked());
}

TEST(HostSession, ReconfigurationTellsWhatItTakes)
{
    Loop loop;
    int flag = 0;
    loop.configText = "[session]\nframes = 2\n[gain]\nmode = \"manual\"\ndb = 3\n";
    EXPECT_EQ(loop.host.Reconfigure(&flag), 0);
    EXPECT_EQ(flag, 0);
    loop.configText = "[session]\nframes = 2\n[image]\nformat = \"mono12\"\n";
    EXPECT_EQ(loop.host.Reconfigure(&flag), 0);
    EXPECT_EQ(flag, 1);
    flag = 0;
    loop.configText = "[image]\nformat = 12\n";
    loop.signals.Raise(KvTd::kSignalReconfigure);
    EXPECT_LT(loop.host.Reconfigure(&flag), 0);
    EXPECT_EQ(flag, 0) << "grabbing goes on with the old configuration";
    EXPECT_EQ(loop.config.Current().image.format, 3U);
    EXPECT_FALSE(loop.signals.ReconfigurationAsked());
    EXPECT_THAT(loop.LogText(), HasSubstr("f.toml:2:10: image.format is 12"));
}

TEST(HostSession, AUserHearsOfMissingFramesOnceAndOfTheirReturn)
{
    Loop loop;
    for (int i = 0; i < 30; ++i) {
        loop.host.FrameMissed();
        loop.nowNs += 1'000'000'000;
    }
    loop.host.FrameGrabbed(20);
    loop.host.FrameMissed();
    loop.host.FrameGrabbed(20);
    const std::string log = loop.LogText();
    EXPECT_THAT(log, HasSubstr("waiting for frames"));
    EXPECT_EQ(log.find("waiting for frames"), log.rfind("waiting for frames"));
    EXPECT_EQ(log.find("coming again"), log.rfind("coming again"));
}

TEST(Progress, StatusLineAndSummaryCarryTheNumbers)
{
    Progress progress;
    progress.SetPeriodUs(40000);
    for (std::int64_t i = 0; i <= 50; ++i) {
        progress.FrameGrabbed(1 + i * 40'000'000, 41.25F);
    }
    EXPECT_EQ(progress.StatusLine({6.5F, 5000, 2'000'000, 4}),
              "51 frames, 25.0 of 25.0 fps, 4 dropped, exposure 5000 us, gain 6.5 dB, 41.2 C, "
              "50.0 MB/s");
    progress.FrameMissed(1 + 100 * 40'000'000LL);
    EXPECT_THAT(progress.StatusLine({}), HasSubstr("0.0 of 25.0 fps")) << "no frames, no rate";
    progress.FrameGrabbed(0, KvTd::kNoTemperature);
    EXPECT_THAT(progress.StatusLine({}), HasSubstr("no temperature"));
    EXPECT_TRUE(progress.StatusDue(1000));
    EXPECT_FALSE(progress.StatusDue(1000 + 199'999'999));
    EXPECT_TRUE(progress.StatusDue(1000 + 200'000'000));

    const std::string whole =
        progress.Summary({true, 48, 2, 1, "out"}, {1, 3, 2, 1, 900, 7, 4}, 2'040'000'000);
    EXPECT_THAT(whole, testing::StartsWith("grabbed 52, exported 48, skipped 2, failed 1, "
                                           "dropped 6, time 2.0 s\n"));
    EXPECT_THAT(whole, HasSubstr("3 lost on the link, 2 incomplete, 1 without a free "
                                 "buffer; waits without a frame: 1\n"));
    EXPECT_THAT(whole, HasSubstr("packets: 900 received, 7 resent, 4 missing\n"));
    EXPECT_THAT(whole, HasSubstr("pictures are in out; the first frame"));
}

} // namespace
