/** The log: lines with time stamp and level to the terminal and to a file, and the status line.
 *
 *  All are under one lock: any thread writes lines; the grab thread sets the status line. On a
 *  terminal the status line is below the last log line and rewritten in place; a new log line is
 *  inserted above it. Each line is written by one system call. Below the level "trace", lines that
 *  repeat themselves are summed up (RepeatFilter).
 *
 *  The file has the whole story, the terminal can be given a shorter view of it. A terminal that
 *  was stopped, or a pipe that nobody reads, holds up no thread for longer than a moment: its
 *  lines are left out until it takes some again. */
#pragma once

#include "file_handle.h"
#include "report/repeat_filter.h"

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <ctime>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

namespace kvgrab
{

/** "2026-03-01T12:00:00.000001+0100 I text", local time. Level 1 to 5: E, W, I, D, T. */
std::string StampedLine(const timespec& when, int level, std::string_view text);

class Log
{
public:
    using Clock = std::function<timespec()>;

    /** What the terminal shows besides kvgrab's own lines. */
    struct View {
        bool driverProgress = true; ///< all of the driver's lines, not only warnings and errors
        bool journal = false;       ///< priorities in place of time stamps
    };

    /** `terminal` is a descriptor that is not owned. Status lines are shown only with `showStatus`.
     */
    Log(int terminal, bool showStatus, int level, Clock clock);
    ~Log();
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    void SetView(View view);
    /** Appends all further lines to this file, too. False: `*error` says why. */
    bool OpenFile(const std::string& path, std::string* error);
    bool HasFile() const;
    void SetLevel(int level);
    /** Called with each warning and error of kvgrab, whatever the level; empty: nobody is. */
    void OnWarning(std::function<void(int level, std::string_view text)> listener);

    /** Logs one line of kvgrab. */
    void Line(int level, std::string_view text);
    /** Logs one line of kvgrab that the user of a terminal learns in another way. */
    void FileLine(int level, std::string_view text);
    /** Logs one line of the driver: "source:line function: text". */
    void DriverLine(const char* source, int line, const char* function, int level,
                    const char* format, std::va_list arguments)
        __attribute__((format(printf, 6, 0)));
    /** Writes what is due: summaries of repeated lines, and reopens the file if it was rotated.
     * Lines do this, too; call it where none may come for a while. */
    void CatchUp();
    /** Writes the summaries of all repeated lines, before the end. */
    void SumUp();

    /** Replaces the status line; empty: none. It is cut to the terminal's width, at a comma. */
    void SetStatus(std::string text);

    /** The log files of this process may have been renamed: they are reopened before the next
     *  line is written. Async-signal-safe; from any thread. */
    static void FilesMayBeRotated() noexcept { rotations_.fetch_add(1); }

private:
    enum class Origin { Host, HostForFile, Driver };

    bool Wanted(int level) const;
    void Write(Origin origin, int level, std::string_view source, std::string_view text);
    void WriteSummaries(const timespec& now, bool all);
    void Put(const timespec& now, Origin origin, int level, std::string_view text);
    void PutOnTerminal(const timespec& now, int level, std::string_view text);
    void WriteToFile(const timespec& now, std::string_view line);
    int AppendToFile(std::string_view text);
    void ReopenRotatedFile(const timespec& now);
    bool ShowStatus(std::string_view before);
    bool WriteToTerminal(std::string_view text);

    static_assert(std::atomic<unsigned>::is_always_lock_free);
    static std::atomic<unsigned> rotations_;

    const int terminal_;
    const bool showStatus_;
    const Clock clock_;
    mutable std::mutex mutex_; ///< guards what follows, and the order of what is written
    int level_;
    View view_;
    FileHandle file_;
    std::function<void(int, std::string_view)> warningListener_;
    std::string path_;
    unsigned rotationsSeen_ = 0;
    RepeatFilter repeats_;
    std::uint64_t linesLost_ = 0; ///< since the last successful write to the file
    bool terminalTakesLines_ = true;
    std::uint64_t linesNotShown_ = 0; ///< since the terminal last took a line
    std::string status_;
    bool statusShown_ = false;
};

} // namespace kvgrab
