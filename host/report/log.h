/** The log: lines with time stamp and level to the terminal or a file, and the status line.
 *
 *  Both are under one lock: any thread writes lines; the grab thread sets the status line. On a
 *  terminal the status line is below the last log line and rewritten in place; a new log line is
 *  inserted above it. Each line is written by one system call. */
#pragma once

#include "file_handle.h"

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

    /** Writes to `terminal` (a descriptor that is not owned) until OpenFile. Status lines are shown
     *  only with `showStatus`. */
    Log(int terminal, bool showStatus, int level, Clock clock);
    ~Log();
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    /** Appends all further lines to this file. False: `*error` says why. */
    bool OpenFile(const std::string& path, std::string* error);
    void SetLevel(int level);
    /** Called with each warning and error of kvgrab, whatever the level; empty: nobody is. */
    void TellWarnings(std::function<void(int level, std::string_view text)> told);

    /** Logs one line of kvgrab. */
    void Line(int level, std::string_view text);
    /** Logs one line of the driver: "source:line function: text". */
    void DriverLine(const char* source, int line, const char* function, int level,
                    const char* format, std::va_list arguments)
        __attribute__((format(printf, 6, 0)));

    /** Replaces the status line; empty: none. */
    void SetStatus(std::string text);

private:
    bool Wanted(int level) const;
    void Write(int level, std::string_view text);
    void WriteToFile(const timespec& now, std::string_view line);
    int AppendToFile(std::string_view text);
    void ShowStatus(std::string_view before);

    const int terminal_;
    const bool showStatus_;
    const Clock clock_;
    mutable std::mutex mutex_; ///< guards what follows, and the order of what is written
    int level_;
    FileHandle file_;
    std::function<void(int, std::string_view)> told_;
    std::uint64_t linesLost_ = 0; ///< since the last successful write to the file
    std::string status_;
    bool statusShown_ = false;
};

} // namespace kvgrab
