// Form of the lines, the status line on a terminal, and lines from two threads.

#include "report/log.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <memory>
#include <pthread.h>
#include <thread>
#include <unistd.h>

namespace
{

using namespace kvgrab;
using testing::ElementsAre;
using testing::HasSubstr;

/** Everything that a descriptor's file holds. */
std::string ContentOf(int fd)
{
    std::string all(static_cast<std::size_t>(lseek(fd, 0, SEEK_END)), '\0');
    EXPECT_EQ(pread(fd, all.data(), all.size(), 0), static_cast<ssize_t>(all.size()));
    return all;
}

/** A file without a name that stands for the terminal. */
class Terminal
{
public:
    int Fd() const { return fileno(file_.get()); }
    /** Everything that was written. */
    std::string Taken() const { return ContentOf(Fd()); }

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Closer> file_{std::tmpfile()};
};

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
    const Terminal terminal;
    {
        Log log(terminal.Fd(), false, 3, FixedClock);
        DriverSays(log, 3, "Grabbed %u of %s", 7U, "many");
        DriverSays(log, 4, "not wanted");
        DriverSays(log, 1, "%s|", std::string(3000, 'x').c_str());
        log.SetLevel(4);
        DriverSays(log, 4, "wanted now");
    }
    EXPECT_THAT(LinesOf(terminal.Taken()),
                ElementsAre(testing::EndsWith(" I kv_td_proc:12 ProcLoop: Grabbed 7 of many"),
                            testing::EndsWith(": " + std::string(3000, 'x') + "|"),
                            testing::EndsWith(" D kv_td_proc:12 ProcLoop: wanted now")));
}

TEST(Log, StatusLineStepsAsideForLogLines)
{
    const Terminal terminal;
    {
        Log log(terminal.Fd(), true, 3, FixedClock);
        log.SetStatus("1 frame");
        log.Line(3, "hello");
        log.SetStatus("1 frame"); // unchanged: nothing is written
        log.SetStatus("2 frames");
    }
    const std::string stamped = StampedLine(FixedClock(), 3, "hello");
    EXPECT_EQ(terminal.Taken(), "1 frame\r\033[K" + stamped + "1 frame\r\033[K2 frames\r\033[K");
}

TEST(Log, WithoutATerminalThereIsNoStatusLine)
{
    const Terminal terminal;
    {
        Log log(terminal.Fd(), false, 3, FixedClock);
        log.SetStatus("1 frame");
    }
    EXPECT_EQ(terminal.Taken(), "");
}

TEST(Log, FileTakesTheLinesAndFailureIsToldOnce)
{
    const std::string path = testing::TempDir() + "kvgrab_log_" + std::to_string(getpid());
    const Terminal terminal;
    std::string error;
    {
        Log log(terminal.Fd(), false, 3, FixedClock);
        ASSERT_TRUE(log.OpenFile(path, &error)) << error;
        log.Line(3, "one");
        ASSERT_TRUE(log.OpenFile(path, &error)) << error;
        log.Line(3, "two");
        EXPECT_FALSE(log.OpenFile("/nonexistent/log", &error));
        EXPECT_THAT(error, HasSubstr("/nonexistent/log"));
        ASSERT_TRUE(log.OpenFile("/dev/full", &error)) << error;
        log.Line(3, "three");
        log.Line(3, "four");
    }
    const FileHandle file(open(path.c_str(), O_RDONLY));
    const std::string text = ContentOf(file.Get());
    std::filesystem::remove(path);
    EXPECT_THAT(LinesOf(text), ElementsAre(HasSubstr("one"), HasSubstr("two")));
    EXPECT_THAT(LinesOf(terminal.Taken()), ElementsAre(HasSubstr("can't be written")));
}

TEST(Log, LinesOfTwoThreadsStayWhole)
{
    constexpr int kLines = 300;
    const Terminal terminal;
    {
        Log log(terminal.Fd(), false, 5, FixedClock);
        const auto speak = [&log](char letter) {
            for (int i = 0; i < kLines; ++i) {
                log.Line(3, std::string(200, letter));
            }
        };
        std::thread one(speak, 'a');
        std::thread two(speak, 'b');
        one.join();
        two.join();
    }
    const std::string head = StampedLine(FixedClock(), 3, "");
    std::map<char, int> counts;
    for (const std::string& line : LinesOf(terminal.Taken())) {
        ASSERT_EQ(line.size(), head.size() - 1 + 200);
        const char letter = line.back();
        ASSERT_EQ(line.substr(head.size() - 1), std::string(200, letter));
        ++counts[letter];
    }
    EXPECT_EQ(counts['a'], kLines);
    EXPECT_EQ(counts['b'], kLines);
}

TEST(Log, WritingIsNoPlaceToBeCancelledAt)
{
    const Terminal terminal;
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
    EXPECT_THAT(terminal.Taken(), testing::EndsWith("ProcLoop: two\nthree"));
}

} // namespace
