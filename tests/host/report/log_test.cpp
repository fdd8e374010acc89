// The format of lines, the status line on a terminal, failing and rotated files, repeated lines,
// lines from two threads, and what a service manager hears.

#include "report/log.h"
#include "report/service_manager.h"
#include "tests/system/files.h"

#include <gmock/gmock.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <map>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace
{

using namespace kvgrab;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::UnorderedElementsAre;

timespec FixedClock()
{
    return {1'700'000'000, 42'999};
}

__attribute__((format(printf, 3, 4))) void DriverSays(Log& log, int level, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    log.DriverLine("kv_td_proc", 12, "ProcLoop", level, format, arguments);
    va_end(arguments);
}

std::vector<std::string> LinesOf(std::string_view text)
{
    std::vector<std::string> lines;
    for (std::size_t end = 0; (end = text.find('\n')) != std::string_view::npos;) {
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    EXPECT_EQ(text, "") << "a line without its end";
    return lines;
}

TEST(Log, LineHasLocalTimeLevelAndText)
{
    setenv("TZ", "XXX-05:30", 1); // east of Greenwich by five and a half hours
    tzset();
    EXPECT_EQ(StampedLine({1'700'000'000, 42'999}, 2, "text"),
              "2023-11-15T03:43:20.000042+0530 W text\n");
    EXPECT_EQ(StampedLine({0, 999'999'999}, 5, "a\nb\x1b[2J\tc"),
              "1970-01-01T05:30:00.999999+0530 T a?b?[2J\tc\n");
}

TEST(Log, DriverLineKeepsLongTextsWhole)
{
    const NamelessFile terminal;
    {
        Log log(terminal.Fd(), false, 3, FixedClock);
        DriverSays(log, 3, "Grabbed %u of %s", 7U, "many");
        DriverSays(log, 4, "not wanted");
        DriverSays(log, 1, "%s|", std::string(3000, 'x').c_str());
        log.SetLevel(4);
        DriverSays(log, 4, "wanted now");
    }
    EXPECT_THAT(LinesOf(terminal.Content()),
                ElementsAre(EndsWith(" I kv_td_proc:12 ProcLoop: Grabbed 7 of many"),
                            EndsWith(": " + std::string(3000, 'x') + "|"),
                            EndsWith(" D kv_td_proc:12 ProcLoop: wanted now")));
}

TEST(Log, StatusLineStepsAsideForLogLines)
{
    const NamelessFile terminal;
    {
        Log log(terminal.Fd(), true, 3, FixedClock);
        log.SetStatus("1 frame");
        log.Line(3, "hello");
        log.SetStatus("1 frame"); // unchanged: nothing is written
        log.SetStatus("2 frames");
    }
    const std::string stamped = StampedLine(FixedClock(), 3, "hello");
    EXPECT_EQ(terminal.Content(), "1 frame\r\033[K" + stamped + "1 frame\r\033[K2 frames\r\033[K");
    const NamelessFile plain;
    Log(plain.Fd(), false, 3, FixedClock).SetStatus("1 frame");
    EXPECT_EQ(plain.Content(), "");
}

TEST(Log, FileTakesTheLinesAndGivesBackItsTroubles)
{
    const TempFolder folder;
    const std::string path = folder / "log";
    const NamelessFile terminal;
    std::string error;
    Log log(terminal.Fd(), false, 3, FixedClock);
    EXPECT_FALSE(log.OpenFile("/nonexistent/log", &error));
    EXPECT_THAT(error, HasSubstr("/nonexistent/log"));
    ASSERT_TRUE(log.OpenFile(path, &error)) << error;
    log.FileLine(3, std::string(10'000, '-') + "one"); // so that the limits concern this file alone
    ASSERT_TRUE(log.OpenFile(path, &error)) << error;
    log.FileLine(3, "two");
    rlimit before = {};
    getrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, SIG_IGN);
    for (int time = 0; time < 2; ++time) { // the disk fills up in the middle of a line
        const rlimit full = {ReadFile(path).size() + 10, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &full);
        log.FileLine(3, "lost");
        log.FileLine(3, "lost, too");
        setrlimit(RLIMIT_FSIZE, &before);
        log.FileLine(3, "three");
        log.FileLine(3, "four");
    }
    std::string again =
        StampedLine(FixedClock(), 2, "the log file can be written again; 2 lines are lost");
    again.pop_back();
    EXPECT_THAT(LinesOf(ReadFile(path)),
                ElementsAre(EndsWith("one"), EndsWith("two"), again, EndsWith(" I three"),
                            EndsWith("four"), again, EndsWith(" I three"), EndsWith("four")));
    const auto fails = HasSubstr("E the log file can't be written: File too large; lines are lost");
    EXPECT_THAT(LinesOf(terminal.Content()), ElementsAre(fails, again, fails, again));
}

TEST(Log, TerminalCanHaveAShorterViewAndARotatedFileIsOpenedAnew)
{
    const TempFolder folder;
    const std::string path = folder / "log";
    const NamelessFile terminal;
    std::string error;
    {
        Log log(terminal.Fd(), false, 3, FixedClock);
        log.SetView({.driverProgress = false, .journal = true});
        ASSERT_TRUE(log.OpenFile(path, &error)) << error;
        DriverSays(log, 3, "progress");
        DriverSays(log, 2, "a warning");
        log.Line(3, "own");
        for (const bool renamed : {true, false}) {
            if (renamed) {
                std::filesystem::rename(path, folder / "log.1");
            }
            Log::FilesMayBeRotated();
            log.CatchUp();
        }
        EXPECT_THAT(LinesOf(ReadFile(folder / "log.1")),
                    ElementsAre(EndsWith("progress"), EndsWith("warning"), EndsWith(" I own")));
        EXPECT_THAT(LinesOf(ReadFile(path)), ElementsAre(HasSubstr("the log goes on here")));
        std::filesystem::remove_all(folder.Path()); // now there is no place for a new file
        Log::FilesMayBeRotated();
        log.FileLine(3, "in the old file");
    }
    EXPECT_THAT(LinesOf(terminal.Content()),
                ElementsAre("<4>kv_td_proc:12 ProcLoop: a warning", "<6>own",
                            HasSubstr("the old file is used")));
}

TEST(RepeatFilter, FirstLinesAndChangesAreWrittenTheRestIsSummedUp)
{
    using Verdict = RepeatFilter::Verdict;
    const struct {
        const char* what;
        const char* source; ///< empty: kvgrab itself
        const char* format;
        std::int64_t everyMs;
        int lines;
        int written;
    } kCases[] = {
        {"the same at each attempt", "a:1 F: ", "no camera", 30'000, 2880, 10},
        {"the same but for a clock", "a:1 F: ", "TSus_1700000{:09} no camera", 2000, 50, 10},
        {"the same, seldom", "a:1 F: ", "no camera", 600'000, 50, 50},
        {"a changed value, now and then", "a:1 F: ", "gain is {}", 3000, 50, 50},
        {"alike and fast", "a:1 F: ", "frame {} is lost", 185, 108, 10},
        {"a table", "a:1 F: ", " {}. 17 us", 1, 100, 100},
        {"kvgrab's own", "", "the file was read again", 3000, 50, 50},
        {"kvgrab's own, fast", "", "frame {} is lost", 185, 108, 10},
    };
    for (const auto& row : kCases) {
        RepeatFilter filter;
        int written = 0;
        int summedUp = 0;
        std::size_t summaries = 0;
        std::int64_t nowMs = 1'000'000;
        const auto count = [&](const std::vector<RepeatFilter::Summary>& due) {
            summaries += due.size();
            for (const auto& summary : due) {
                EXPECT_EQ(summary.text.find("repeated "), 0U);
                summedUp += std::stoi(summary.text.substr(9));
            }
        };
        for (int i = 0; i < row.lines; ++i, nowMs += row.everyMs) {
            count(filter.Due(nowMs));
            const std::string text = fmt::format(fmt::runtime(row.format), i);
            const Verdict verdict = filter.Judge(nowMs, 3, row.source, text);
            written += verdict == Verdict::HoldBack ? 0 : 1;
            EXPECT_EQ(verdict == Verdict::WriteAsLast, i + 1 == row.written && i + 1 < row.lines)
                << row.what << ", line " << i;
        }
        EXPECT_EQ(filter.Judge(nowMs, 3, "a:1 F: ", "news"), Verdict::Write) << row.what;
        count(filter.Rest(nowMs));
        EXPECT_EQ(written, row.written) << row.what;
        EXPECT_EQ(summedUp, row.lines - row.written) << row.what << ": none is forgotten";
        EXPECT_LE(summaries, 40U) << row.what;
    }
}

TEST(RepeatFilter, CalmLinesAreWrittenAgainAndTheMemoryOfThemIsBounded)
{
    RepeatFilter filter;
    const auto burst = [&filter](std::int64_t nowMs) {
        for (int i = 0; i < 12; ++i) {
            filter.Judge(nowMs, 2, "a:1 F: ", "no camera");
        }
    };
    burst(0);
    burst(600'000); // calm again: ten lines are written, after what the first burst left
    for (int i = 0; i < 5000; ++i) {
        filter.Judge(700'000, 2, "a:1 F: ", std::string(static_cast<std::size_t>(i), 'x'));
    }
    std::string all;
    for (const auto& summary : filter.Due(700'000)) {
        all += summary.text + "\n";
    }
    EXPECT_EQ(all, "repeated 2 times in 600 s: a:1 F: no camera\n"
                   "repeated 2 times in 100 s: a:1 F: no camera\n");
}

TEST(ServiceManager, HearsOfTheStatusOnceASecondAndFourTimesInTheWatchdogsTime)
{
    constexpr std::int64_t kSecond = 1'000'000'000;
    std::vector<std::string> sent;
    ServiceManager manager([&sent](const char* text) { sent.emplace_back(text); }, 4 * kSecond);
    manager.Ready("opening");
    manager.Status(0, "a\n\u202Eb");
    manager.Status(kSecond - 1, "too soon");
    manager.Status(kSecond, "c");
    manager.Status(kSecond, "waits", true);
    manager.Status(3 * kSecond, "waits");
    std::thread([&manager] { manager.Alive(0); }).join(); // says nothing of the grab thread
    for (std::int64_t now = 0; now < 2 * kSecond; now += kSecond / 4) {
        manager.Alive(now);
    }
    manager.Stopping("");
    EXPECT_THAT(sent,
                ElementsAre("READY=1\nSTATUS=opening", "STATUS=a????b", "STATUS=c", "STATUS=waits",
                            "WATCHDOG=1", "WATCHDOG=1", "STOPPING=1\nSTATUS="));
}

TEST(Log, IsNotHeldUpByATerminalThatTakesNothing)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::string text(static_cast<std::size_t>(fcntl(ends[1], F_GETPIPE_SZ)), 'x');
    ASSERT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    Log log(ends[1], false, 3, FixedClock);
    log.Line(3, "lost");
    log.Line(3, "lost, too");
    ASSERT_EQ(read(ends[0], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    log.Line(3, "shown");
    text.resize(static_cast<std::size_t>(read(ends[0], text.data(), text.size())));
    EXPECT_THAT(text, HasSubstr("2 lines are not shown"));
    EXPECT_THAT(text, HasSubstr("I shown\n"));
    EXPECT_THAT(text, Not(HasSubstr("lost")));
    close(ends[0]);
    close(ends[1]);
}

TEST(Log, ALineThatASignalCutsShortIsWrittenToItsEnd)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const int room = fcntl(ends[1], F_GETPIPE_SZ);
    struct sigaction interrupt = {};
    interrupt.sa_handler = [](int) {}; // no SA_RESTART: a write ends with what it has done so far
    sigaction(SIGUSR1, &interrupt, nullptr);
    const std::string text(3 * static_cast<std::size_t>(room), 'x');
    std::thread writer([&] {
        Log(ends[1], false, 3, FixedClock).Line(3, text);
        close(ends[1]);
    });
    for (int held = 0; held < room; ioctl(ends[0], FIONREAD, &held)) {
        std::this_thread::yield(); // until the pipe is full, and the writer in the middle of it
    }
    pthread_kill(writer.native_handle(), SIGUSR1);
    std::string taken(1 << 16, '\0');
    std::string all;
    for (ssize_t got = 0; (got = read(ends[0], taken.data(), taken.size())) > 0;) {
        all.append(taken, 0, static_cast<std::size_t>(got));
    }
    writer.join();
    EXPECT_EQ(all, StampedLine(FixedClock(), 3, text));
}

/** Whether a thread of this process sleeps, as it does while it waits for a lock. */
bool Sleeps(pid_t thread)
{
    const std::string status = ReadFile("/proc/self/task/" + std::to_string(thread) + "/status");
    return status.find("\nState:\tS") != std::string::npos;
}

TEST(Log, StampsRiseFromLineToLine)
{
    const NamelessFile terminal;
    std::thread second;
    std::atomic<pid_t> secondId = 0;
    std::atomic<bool> secondDone = false;
    std::atomic<int> stamps = 0;
    Log* speaker = nullptr;
    Log log(terminal.Fd(), false, 3, [&] {
        const timespec stamp = {++stamps, 0};
        if (stamp.tv_sec == 1) { // the first line has its stamp: may another overtake it now?
            second = std::thread([&] {
                secondId = gettid();
                speaker->Line(3, "second");
                secondDone = true;
            });
            while (!secondDone && (secondId == 0 || !Sleeps(secondId))) {
                std::this_thread::yield();
            }
        }
        return stamp;
    });
    speaker = &log;
    log.Line(3, "first");
    second.join();
    EXPECT_EQ(terminal.Content(),
              StampedLine({1, 0}, 3, "first") + StampedLine({2, 0}, 3, "second"));
}

TEST(Log, LinesOfTwoThreadsStayWhole)
{
    const NamelessFile terminal;
    Log log(terminal.Fd(), false, 5, FixedClock);
    const auto speak = [&log](char letter) {
        for (int i = 0; i < 300; ++i) {
            log.Line(3, std::string(200, letter));
        }
    };
    std::thread other(speak, 'a');
    speak('b');
    other.join();
    std::map<std::string, int> counts;
    for (const std::string& line : LinesOf(terminal.Content())) {
        ++counts[line.substr(line.rfind(' ') + 1)];
    }
    EXPECT_THAT(counts, UnorderedElementsAre(std::pair(std::string(200, 'a'), 300),
                                             std::pair(std::string(200, 'b'), 300)));
}

TEST(Log, WritingIsNoPlaceToBeCancelledAt)
{
    const NamelessFile terminal;
    Log log(terminal.Fd(), true, 5, FixedClock);
    bool reached = false;
    std::thread cancelled([&] {
        pthread_cancel(pthread_self()); // takes effect at the next cancellation point
        log.Line(3, "one");
        DriverSays(log, 3, "two");
        log.SetStatus("three");
        int before = 0;
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before);
        reached = before == PTHREAD_CANCEL_ENABLE;
    });
    cancelled.join();
    EXPECT_TRUE(reached);
    EXPECT_THAT(terminal.Content(), EndsWith("ProcLoop: two\nthree"));
}

} // namespace
