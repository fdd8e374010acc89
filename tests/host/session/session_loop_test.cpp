// What follows a device session: the decision, and the loop around it with a fake driver.

#include "session/session_loop.h"
#include "tests/base/text_cases.h"
#include "tests/host/memory/consumer.h"
#include "tests/host/session/host_under_test.h"

#include <fmt/format.h>
#include <functional>
#include <gmock/gmock.h>
#include <stdexcept>

namespace
{

using namespace kvgrab;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

TEST(SessionLoop, DecidesByTheDriversCode)
{
    ExpectOutcomes(SESSION_CASES "/decisions.txt", [](const std::string& text) {
        SessionOutcome outcome;
        const auto says = [&text](const char* word) { return text.find(word) != text.npos; };
        outcome.driverCode = std::stoi(text);
        outcome.terminating = says("terminating");
        outcome.frameCountReached = says("all of them");
        outcome.exportFailed = says("export failed");
        outcome.grabbed = says(" frames") && !says("no frames");
        outcome.grabbedBefore = outcome.grabbed || says("grabbed before");
        outcome.newSessionAsked = says("asked for another");
        outcome.refusals = says("three times") ? 3 : says("twice") ? 2 : 1;
        outcome.endedEarly = says("no frames")     ? EarlyEnd::NoFrames
                             : says("interrupted") ? EarlyEnd::AskedToEnd
                                                   : EarlyEnd::None;
        const NextStep step = Decide(outcome, says("retry"));
        EXPECT_NE(step.sentence, "") << text;
        const char* const kinds[] = {"next session", "later", "end"};
        return fmt::format("{} {}", kinds[static_cast<int>(step.kind)],
                           static_cast<int>(step.status));
    });
}

/** A host with a driver that is a list of sessions. */
struct Loop : HostUnderTest {
    std::vector<std::function<int()>> sessions;
    std::size_t sessionsRun = 0;
    std::vector<std::int64_t> waits;
    std::function<void()> duringWait = [] {};
    bool waitsAreCutShort = false; ///< as by a signal

    NextStep Run()
    {
        return RunSessions({host, [this] { return sessions.at(sessionsRun++)(); },
                            [this](std::int64_t ms) {
                                waits.push_back(ms);
                                nowNs += waitsAreCutShort ? 0 : ms * 1'000'000;
                                duringWait();
                                if (waits.size() > 10) {
                                    throw std::runtime_error("it waits for ever");
                                }
                            }});
    }
    /** Grabs so many frames in one loop of the driver's. */
    int Grab(int frames)
    {
        ++transfer;
        host.GrabbingBegins();
        for (int i = 0; i < frames; ++i) {
            host.FrameGrabbed(20);
        }
        host.GrabbingEnds();
        return 0;
    }
};

std::size_t CountOf(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

TEST(SessionLoop, WaitsForACameraAndSaysSoOnce)
{
    Loop loop;
    loop.sessions.assign(5, [] { return 2; });
    loop.sessions.emplace_back([] { return 3; });
    loop.sessions.emplace_back([&loop] { return loop.Grab(2); });
    EXPECT_EQ(loop.Run().status, ExitStatus::Done);
    EXPECT_THAT(loop.waits, ElementsAre(2000, 4000, 8000, 16000, 30000, 30000));
    EXPECT_EQ(CountOf(loop.logged.Content(), "no camera"), 1U);
    EXPECT_EQ(CountOf(loop.logged.Content(), "none of the cameras is the one"), 1U);
}

TEST(SessionLoop, AThirdRefusalIsFinalAndFramesMakeTheIntervalShortAgain)
{
    const auto refused = [] { return -2; };
    Loop loop;
    loop.sessions = {refused, refused, [] { return kExitCameraLeft; }, refused, refused, refused};
    EXPECT_EQ(loop.Run().status, ExitStatus::CameraRefused);
    EXPECT_EQ(loop.sessionsRun, 6U);

    Loop other;
    const auto failed = [] { return -10; };
    other.sessions = {failed, failed, [&other] { return other.Grab(1) - 10; }, failed,
                      [&other] { return other.Grab(1); }};
    EXPECT_EQ(other.Run().status, ExitStatus::Done);
    EXPECT_THAT(other.waits, ElementsAre(2000, 4000, 2000, 4000));
    EXPECT_EQ(RetryPace().NextS(100), 100);
}

TEST(SessionLoop, FrameCountIsThatOfTheRun)
{
    Loop loop;
    loop.configText = "[session]\nframes = 4\n";
    loop.config.Reload();
    loop.sessions = {[&loop] {
                         loop.Grab(1); // ended by a reconfiguration
                         loop.host.SignalAction(KvTd::kSignalReconfigure);
                         return 0;
                     },
                     [&loop] { return loop.Grab(1); },
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

TEST(SessionLoop, ASignalEndsTheWait)
{
    Loop loop;
    loop.waitsAreCutShort = true;
    loop.sessions = {[] { return -5; }};
    loop.duringWait = [&loop] { loop.signals.Raise(KvTd::kSignalTerminate); };
    EXPECT_EQ(loop.Run().status, ExitStatus::Done);
    EXPECT_THAT(loop.waits, ElementsAre(2000)) << "without waiting for the rest of the interval";
}

TEST(SessionLoop, HangUpWhileWaitingReadsTheFileAndLooksAgainAtOnce)
{
    Loop loop;
    loop.waitsAreCutShort = true;
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

TEST(HostSession, AUserHearsOfMissingFramesOnceAndOfTheirReturn)
{
    HostUnderTest tested;
    for (int i = 0; i < 30; ++i) {
        tested.host.FrameMissed();
        tested.nowNs += 1'000'000'000;
    }
    tested.host.FrameGrabbed(20);
    tested.host.FrameMissed();
    tested.host.FrameGrabbed(20);
    EXPECT_EQ(CountOf(tested.logged.Content(), "waiting for frames"), 1U);
    EXPECT_EQ(CountOf(tested.logged.Content(), "coming again"), 1U);
}

TEST(HostSession, TheLogGetsAStatusLineEachHourWaitingOrNot)
{
    HostUnderTest tested;
    tested.host.FrameGrabbed(KvTd::kNoTemperature);
    tested.host.SessionEnded();
    tested.host.Waits("there is no camera");
    for (int minutes = 0; minutes <= 150; ++minutes) {
        tested.host.Alive();
        tested.nowNs += 60'000'000'000;
    }
    EXPECT_EQ(CountOf(tested.logged.Content(), "1 of 2 frames, 0 dropped"), 2U);
    EXPECT_EQ(CountOf(tested.logged.Content(), "; waiting: there is no camera\n"), 2U);
}

TEST(HostSession, ADriverThatShouldEndGetsBuffersForSomeMoreLoopsOnly)
{
    Loop loop;
    ASSERT_TRUE(loop.memory.Open(OwnMemoryName()));
    loop.sessions = {[&loop] {
        const auto begin = [&loop] {
            loop.host.PrepareMemory(16);
            return loop.memory.BufPtr(0) != nullptr;
        };
        EXPECT_TRUE(begin());
        loop.Grab(2);
        for (int more = 0; more < 8; ++more) {
            EXPECT_TRUE(begin()) << "the dynamic table needs loops of its own";
        }
        EXPECT_FALSE(begin());
        return static_cast<int>(KvTd::kExitBuffers);
    }};
    EXPECT_EQ(loop.Run().status, ExitStatus::Done);
    EXPECT_EQ(CountOf(loop.logged.Content(), "goes on although it should end"), 1U);
}

TEST(HostSession, TellsTheStepsOnceASessionAndHowLongACameraWasAway)
{
    HostUnderTest tested;
    const auto after = [&tested](std::int64_t ms) { tested.nowNs += ms * 1'000'000; };
    const auto loopBegins = [&](const char* codec) {
        EXPECT_EQ(tested.host.Publish(KvTd::kParamCodec, codec), 0);
        after(200);
        tested.host.GrabbingBegins();
        after(50);
    };
    const auto frame = [&] {
        const std::size_t before = tested.logged.Content().size();
        tested.host.FrameGrabbed(20);
        return tested.logged.Content().substr(before);
    };
    const auto session = [&] {
        tested.host.SessionBegins();
        after(800);
        loopBegins("MONO8T");
        loopBegins("MONO12T"); // of the same session
        return frame();
    };
    EXPECT_THAT(session(), HasSubstr("the camera was found and opened after 800 ms, configured "
                                     "after 1000 ms; the first frame came after 1300 ms\n"));
    after(5000);
    EXPECT_EQ(frame(), "");
    EXPECT_THAT(session(), EndsWith("came after 1300 ms\n")) << "asked for: nothing was wrong";
    tested.host.SessionFailed();
    tested.host.SessionBegins(); // and no camera
    after(5700);
    tested.host.SessionFailed();
    EXPECT_THAT(session(), HasSubstr("there was none for 7.0 s"));
    EXPECT_THAT(session(), Not(HasSubstr("there was none")));
}

TEST(Progress, StatusLineAndSummaryCarryTheNumbers)
{
    Progress progress;
    progress.SetPeriodUs(40000);
    for (std::int64_t i = 0; i <= 50; ++i) {
        progress.FrameGrabbed(1 + i * 40'000'000, 41.25F);
    }
    StatusValues values;
    values.dropped = 4;
    EXPECT_EQ(progress.StatusLine(values), "51 frames, 4 dropped, 25.0 fps, 41.2 C, 0.0 MB/s");
    values.pictures = {true, 48, 2, 1, "out"};
    values.gainDb = 6.5F;
    values.exposureUs = 5000;
    values.frameBytes = 2'000'000;
    const std::pair<std::uint64_t, const char*> kLeft[] = {
        {150, "4 s"}, {1551, "1:00"}, {91'551, "1:01:00"}, {10'000'000, "4 days"}};
    for (const auto& wanted : kLeft) {
        values.framesWanted = wanted.first;
        EXPECT_EQ(progress.StatusLine(values),
                  fmt::format("51 of {} frames, 48 exported, 2 skipped, 1 failed, 4 dropped, 25.0 "
                              "fps, {} left, 5000 us, 6.5 dB, 41.2 C, 50.0 MB/s",
                              wanted.first, wanted.second));
    }
    progress.FrameMissed(1 + 100 * 40'000'000LL);
    progress.FrameGrabbed(0, KvTd::kNoTemperature);
    values = {};
    values.settingsNotTaken = 2;
    EXPECT_EQ(progress.StatusLine(values),
              "52 frames, 0 dropped, 0.0 fps, 2 settings not taken, 0.0 MB/s");
    EXPECT_TRUE(progress.StatusDue(1000));
    EXPECT_FALSE(progress.StatusDue(1000 + 199'999'999));
    EXPECT_TRUE(progress.StatusDue(1000 + 200'000'000));

    EXPECT_THAT(progress.Summary({true, 48, 2, 1, "out"}, {1, 3, 2, 1, 900, 7, 4}, 2'040'000'000),
                AllOf(testing::StartsWith("grabbed 52, exported 48, skipped 2, failed 1, dropped "
                                          "6, time 2.0 s\n"),
                      HasSubstr("3 lost on the link, 2 incomplete, 1 without a free buffer; waits "
                                "without a frame: 1\n"),
                      HasSubstr("packets: 900 received, 7 resent, 4 missing\n"),
                      HasSubstr("pictures are in out; the first frame")));
}

} // namespace
