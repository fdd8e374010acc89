#include "report/log.h"

#include "base/cancellation.h"
#include "base/own_files.h"
#include "base/printable.h"
#include "base/write_all.h"
#include "report/journal.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fmt/format.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <utility>

namespace kvgrab
{

namespace
{

constexpr std::string_view kEraseLine = "\r\033[K";
constexpr int kWarning = 2;
constexpr int kTrace = 5;

/** Columns of a terminal, practically unlimited for anything else. The status line is cut to them,
 *  since a line that wraps can't be rewritten in place. */
std::size_t TerminalWidth(int fd)
{
    winsize size = {};
    return ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col > 1 ? size.ws_col : 10'000;
}

/** The part of a status line that fits, up to a comma: half a number would be a wrong one. */
std::string_view Fitting(std::string_view status, std::size_t columns)
{
    if (status.size() <= columns) {
        return status;
    }
    const std::size_t comma = status.rfind(", ", columns);
    return status.substr(0, comma == std::string_view::npos ? columns : comma);
}

std::int64_t Milliseconds(const timespec& time)
{
    return time.tv_sec * 1000LL + time.tv_nsec / 1'000'000;
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
    return fmt::format("{}.{:06}{} {} {}\n", date.data(), when.tv_nsec / 1000, zone.data(), letter,
                       base::Printable(text, "\t"));
}

std::atomic<unsigned> Log::rotations_ = 0;

Log::Log(int terminal, bool showStatus, int level, Clock clock)
    : terminal_(terminal), showStatus_(showStatus), clock_(std::move(clock)), level_(level)
{
}

Log::~Log()
{
    SetStatus("");
}

void Log::SetView(View view)
{
    const std::lock_guard lock(mutex_);
    view_ = view;
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
    path_ = path;
    rotationsSeen_ = rotations_;
    linesLost_ = 0;
    return true;
}

bool Log::HasFile() const
{
    const std::lock_guard lock(mutex_);
    return file_.Valid();
}

void Log::SetLevel(int level)
{
    const std::lock_guard lock(mutex_);
    level_ = level;
}

void Log::OnWarning(std::function<void(int, std::string_view)> listener)
{
    const std::lock_guard lock(mutex_);
    warningListener_ = std::move(listener);
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
        Write(Origin::Host, level, "", text);
    }
    if (level <= kWarning) {
        const std::lock_guard lock(mutex_);
        if (warningListener_) {
            warningListener_(level, text);
        }
    }
}

void Log::FileLine(int level, std::string_view text)
{
    const base::CancellationGuard guard;
    if (Wanted(level)) {
        Write(Origin::HostForFile, level, "", text);
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
    const std::string place = fmt::format("{}:{} {}: ", source, line, function);
    std::string text;
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
    Write(Origin::Driver, level, place, text);
}

void Log::Write(Origin origin, int level, std::string_view source, std::string_view text)
{
    const std::lock_guard lock(mutex_);
    const timespec now = clock_(); // under the lock, so that the stamps rise from line to line
    ReopenRotatedFile(now);
    if (level_ >= kTrace) {
        Put(now, origin, level, fmt::format("{}{}", source, text));
        return;
    }
    WriteSummaries(now, false);
    const auto verdict = repeats_.Judge(Milliseconds(now), level, source, text);
    if (verdict == RepeatFilter::Verdict::HoldBack) {
        return;
    }
    const bool last = verdict == RepeatFilter::Verdict::WriteAsLast;
    Put(now, origin, level,
        fmt::format("{}{}{}", source, text,
                    last ? " [from here on, lines like this one are counted and summed up]" : ""));
}

void Log::WriteSummaries(const timespec& now, bool all)
{
    const std::int64_t ms = Milliseconds(now);
    for (const RepeatFilter::Summary& summary : all ? repeats_.Rest(ms) : repeats_.Due(ms)) {
        Put(now, summary.own ? Origin::Host : Origin::Driver, summary.level, summary.text);
    }
}

void Log::Put(const timespec& now, Origin origin, int level, std::string_view text)
{
    if (file_.Valid()) {
        WriteToFile(now, StampedLine(now, level, text));
    }
    if (origin == Origin::Host ||
        (origin == Origin::Driver && (view_.driverProgress || level <= kWarning))) {
        PutOnTerminal(now, level, text);
    }
}

void Log::PutOnTerminal(const timespec& now, int level, std::string_view text)
{
    const auto lineOf = [this, &now](int lineLevel, std::string_view lineText) {
        return view_.journal ? JournalLine(lineLevel, lineText)
                             : StampedLine(now, lineLevel, lineText);
    };
    std::string lines;
    if (linesNotShown_ != 0) {
        lines = lineOf(kWarning, fmt::format("{} lines are missing here: they could not be shown",
                                             linesNotShown_));
    }
    lines += lineOf(level, text);
    if (statusShown_ ? ShowStatus(lines) : WriteToTerminal(lines)) {
        linesNotShown_ = 0;
    } else {
        ++linesNotShown_;
    }
}

/** A rotated file has been renamed or removed; a truncated one needs nothing, since each line is
 *  appended. If the new one can't be opened, the lines go on in the old one. */
void Log::ReopenRotatedFile(const timespec& now)
{
    const unsigned rotations = rotations_;
    if (rotations == rotationsSeen_ || !file_.Valid()) {
        return;
    }
    rotationsSeen_ = rotations;
    std::string why;
    FileHandle file(base::OpenFileForWriting(path_, base::Existing::Append, &why));
    if (!file.Valid()) {
        PutOnTerminal(
            now, kWarning,
            fmt::format("can't open the log file {} again: {}; the old file is used", path_, why));
        return;
    }
    struct stat before = {};
    struct stat after = {};
    const bool same = fstat(file_.Get(), &before) == 0 && fstat(file.Get(), &after) == 0 &&
                      before.st_dev == after.st_dev && before.st_ino == after.st_ino;
    if (!same) {
        file_ = std::move(file);
        WriteToFile(now, StampedLine(now, 3, "the log goes on here: its file was rotated"));
    }
}

void Log::CatchUp()
{
    const base::CancellationGuard guard;
    const std::lock_guard lock(mutex_);
    const timespec now = clock_();
    ReopenRotatedFile(now);
    WriteSummaries(now, false);
}

void Log::SumUp()
{
    const base::CancellationGuard guard;
    const std::lock_guard lock(mutex_);
    WriteSummaries(clock_(), true);
}

/** When writing begins to fail, a line on the terminal says so; when it works again, a line on the
 *  terminal and in the file. */
void Log::WriteToFile(const timespec& now, std::string_view line)
{
    std::string news;
    if (linesLost_ != 0) {
        news = fmt::format("the log file can be written again; {} lines are lost", linesLost_);
    }
    const std::string before = news.empty() ? "" : StampedLine(now, kWarning, news);
    const int error = AppendToFile(fmt::format("{}{}", before, line));
    if (error == 0) {
        if (std::exchange(linesLost_, 0) != 0) {
            PutOnTerminal(now, kWarning, news);
        }
    } else if (++linesLost_ == 1) {
        PutOnTerminal(now, 1,
                      fmt::format("the log file can't be written: {}; lines are lost until it can",
                                  std::strerror(error)));
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

/** Replaces the status line by log lines and writes the status line below them, in one write.
 *  False: the terminal takes nothing. */
bool Log::ShowStatus(std::string_view before)
{
    std::string text(statusShown_ ? kEraseLine : std::string_view());
    text += before;
    text += Fitting(status_, TerminalWidth(terminal_) - 1);
    const bool written = WriteToTerminal(text);
    statusShown_ = written ? !status_.empty() : statusShown_;
    return written;
}

/** Waits a moment for the terminal, but not again until it has taken something. */
bool Log::WriteToTerminal(std::string_view text)
{
    constexpr int kMomentMs = 200;
    pollfd ready = {terminal_, POLLOUT, 0};
    int count = poll(&ready, 1, terminalTakesLines_ ? kMomentMs : 0);
    if (count < 0) {
        count = poll(&ready, 1, 0); // a signal interrupted the wait
    }
    terminalTakesLines_ = count != 0;
    if (terminalTakesLines_) {
        base::WriteAll(terminal_, text);
    }
    return terminalTakesLines_;
}

void Log::SetStatus(std::string text)
{
    const base::CancellationGuard guard;
    text = base::Printable(text);
    const std::lock_guard lock(mutex_);
    if (!showStatus_ || text == status_) {
        return;
    }
    status_ = std::move(text);
    ShowStatus("");
}

} // namespace kvgrab
