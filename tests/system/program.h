/** Runs a program beside the test: its output, its signals, its end. */
#pragma once

#include "tests/system/files.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

/** Only what hangs takes so long, however slow the machine is. */
constexpr std::chrono::seconds kPatience{120};

/** Waits until `condition` is true; false when it never becomes so. */
template <class Condition> bool Eventually(Condition condition)
{
    const auto until = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > until) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

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
    bool WaitFor(const std::string& text, std::chrono::seconds limit = kPatience);
    /** Waits for its end. The exit status; 1000 plus the signal that killed it; -1 when it did not
     *  end in time. */
    int Wait(std::chrono::seconds limit = kPatience);
    const std::string& Output() const { return output_; }
    /** Stops it and waits until it has stopped. */
    void Stop() const;
    void Continue() const { Signal(SIGCONT); }

private:
    bool Read(int timeoutMs);
    int pid_ = -1;
    int pipe_ = -1;
    int status_ = -1;
    bool ended_ = false;
    std::string output_;
    std::size_t seen_ = 0;
};
