#include "report/log.h"

#include "base/cancellation.h"
#include "base/own_files.h"
#include "base/write_all.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <utility>

namespace kvgrab
{

namespace
{

constexpr std::string_view kEraseLine = "\r\033[K";

/** Columns of a terminal, practically unlimited for anything else. The status line is cut to them,
 *  since a line that wraps can't be rewritten in place. */
std::size_t TerminalWidth(int fd)
{
    winsize size = {};
    return ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col > 1 ? size.ws_col : 10'000;
}

/** Texts may come from cameras and files: replaces control characters by question marks. */
void MakeHarmless(std::string* text)
{
    std::replace_if(
        text->begin(), text->end(),
        [](unsigned char c) { return (c < ' ' && c != '\t') || c == 0x7F; }, '?');
}

} // namespace

std::string StampedLine(const timespec& when, int level, std::string_view text)
{
    constexpr std::string_view kLetters = "EWIDT";
    tm local = {};
    localtime_r(&when.tv_sec, &local);
    std::array<char, 32> date{};
    std::array<char, 16> zone{};
    std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &local);
    std::strftime(zone.data(), zone.size(), "%z", &local);
    const char letter = kLetters[static_cast<std::size_t>(std::clamp(level, 1, 5) - 1)];
    std::string line = fmt::format("{}.{:06}{} {} {}", date.data(), when.tv_nsec / 1000,
                                   zone.data(), letter, text);
    MakeHarmless(&line);
    line += '\n';
    return line;
}

Log::Log(int terminal, bool showStatus, int level, Clock clock)
    : terminal_(terminal), showStatus_(showStatus), clock_(std::move(clock)), level_(level)
{
}

Log::~Log()
{
    SetStatus("");
}

bool Log::OpenFile(const std::string& path, std::string* error)
{
    std::string why;
    FileHandle file(base::OpenFileForWriting(path, base::Existing::Append, &why));
    if (!file.Valid()) {
        *error = fmt::format("can't open the log file {}: {}", path, why);
        return false;
    }
    const std::lock_guard lock(mutex_);
    file_ = std::move(file);
    linesLost_ = 0;
    return true;
}

void Log::SetLevel(int level)
{
    const std::lock_guard lock(mutex_);
    level_ = level;
}

void Log::TellWarnings(std::function<void(int, std::string_view)> told)
{
    const std::lock_guard lock(mutex_);
    told_ = std::move(told);
}

bool Log::Wanted(int level) const
{
    const std::lock_guard lock(mutex_);
    return level <= level_;
}

void Log::Line(int level, std::string_view text)
{
    const base::CancellationGuard guard;
    if (Wanted(level)) {
        Write(level, text);
    }
    constexpr int kWarning = 2;
    if (level <= kWarning) {
        const std::lock_guard lock(mutex_);
        if (told_) {
            told_(level, text);
        }
    }
}

void Log::DriverLine(const char* source, int line, const char* function, int level,
                     const char* format, std::va_list arguments)
{
    const base::CancellationGuard guard;
    if (!Wanted(level)) {
        return;
    }
    std::va_list again;
    va_copy(again, arguments);
    std::array<char, 512> room{};
    const int length = std::vsnprintf(room.data(), room.size(), format, arguments);
    std::string text = fmt::format("{}:{} {}: ", source, line, function);
    if (length >= 0 && static_cast<std::size_t>(length) < room.size()) {
        text += room.data();
    } else if (length >= 0) {
        std::string longText(static_cast<std::size_t>(length) + 1, '\0');
        std::vsnprintf(longText.data(), longText.size(), format, again);
        longText.pop_back();
        text += longText;
    } else {
        text += format;
    }
    va_end(again);
    Write(level, text);
}

void Log::Write(int level, std::string_view text)
{
    const std::lock_guard lock(mutex_);
    const timespec now = clock_(); // under the lock, so that the stamps rise from line to line
    const std::string line = StampedLine(now, level, text);
    if (file_.Valid()) {
        WriteToFile(now, line);
    } else if (statusShown_) {
        ShowStatus(line);
    } else {
        base::WriteAll(terminal_, line);
    }
}

/** When writing begins to fail, a line on the terminal says so; when it works again, a line on the
 *  terminal and in the file. */
void Log::WriteToFile(const timespec& now, std::string_view line)
{
    std::string news;
    if (linesLost_ != 0) {
        news = StampedLine(
            now, 2,
            fmt::format("the log file can be written again; {} lines are lost", linesLost_));
    }
    const int error = AppendToFile(fmt::format("{}{}", news, line));
    if (error == 0) {
        if (std::exchange(linesLost_, 0) != 0) {
            ShowStatus(news);
        }
    } else if (++linesLost_ == 1) {
        ShowStatus(StampedLine(
            now, 1,
            fmt::format("the log file can't be written: {}; lines are lost until it can",
                        std::strerror(error))));
    }
}

/** Appends all of the text or nothing. Returns 0 or an error number. */
int Log::AppendToFile(std::string_view text)
{
    struct stat before = {};
    const bool known = fstat(file_.Get(), &before) == 0 && S_ISREG(before.st_mode);
    const int error = base::WriteAll(file_.Get(), text);
    if (error != 0 && known) {
        [[maybe_unused]] const int cut = ftruncate(file_.Get(), before.st_size);
    }
    return error;
}

/** Replaces the status line by a log line and writes the status line below it, in one write. */
void Log::ShowStatus(std::string_view before)
{
    std::string text(statusShown_ ? kEraseLine : std::string_view());
    text += before;
    text += std::string_view(status_).substr(0, TerminalWidth(terminal_) - 1);
    statusShown_ = !status_.empty();
    base::WriteAll(terminal_, text);
}

void Log::SetStatus(std::string text)
{
    const base::CancellationGuard guard;
    MakeHarmless(&text);
    const std::lock_guard lock(mutex_);
    if (!showStatus_ || text == status_) {
        return;
    }
    status_ = std::move(text);
    ShowStatus("");
}

} // namespace kvgrab
