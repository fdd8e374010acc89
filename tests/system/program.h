/** Runs a program beside the test: its output, its signals, its end. */
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <sys/types.h>
#include <vector>

/** A folder that goes when the test goes. */
class TempFolder
{
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    const std::filesystem::path& Path() const { return path_; }
    std::string operator/(const std::string& name) const { return (path_ / name).string(); }
    /** Writes a file and returns its path. */
    std::string Write(const std::string& name, const std::string& text) const;

private:
    std::filesystem::path path_;
};

/** One run of a program. Output and errors go to one text, in the order they came. A program that
 *  still runs when this goes is killed. */
class Program
{
public:
    Program(const std::vector<std::string>& command, const std::filesystem::path& folder);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void Signal(int number) const;
    /** Waits until the output contains `text`; false when the program ended or `limit` passed
     *  first. Looks on from where the last success ended. */
    bool WaitFor(const std::string& text, std::chrono::seconds limit = std::chrono::seconds(20));
    /** Waits for its end. The exit status; 1000 plus the signal that killed it; -1 when it did not
     *  end in time. */
    int Wait(std::chrono::seconds limit = std::chrono::seconds(30));
    const std::string& Output() const { return output_; }
    pid_t Pid() const { return pid_; }

private:
    bool Read(int timeoutMs);
    int pid_ = -1;
    int pipe_ = -1;
    int status_ = -1;
    bool ended_ = false;
    std::string output_;
    std::size_t seen_ = 0;
};

/** A text file's content; empty when there is none. */
std::string ReadFile(const std::filesystem::path& path);
