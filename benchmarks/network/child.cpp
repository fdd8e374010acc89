#include "benchmarks/network/child.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <linux/capability.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench
{

namespace
{

/** Takes the right to real-time priority from the program that this process will execute, even if
 *  root runs it. */
void GiveUpRealTime()
{
    const rlimit none{0, 0};
    setrlimit(RLIMIT_RTPRIO, &none);
    prctl(PR_CAPBSET_DROP, CAP_SYS_NICE, 0, 0, 0);
}

/** Starts a program; `output` is the descriptor for its standard output and error. */
pid_t Start(const std::vector<std::string>& words, Rights rights, int output)
{
    const pid_t pid = fork();
    if (pid != 0) {
        return pid;
    }
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    if (rights == Rights::NoRealTime) {
        GiveUpRealTime();
    }
    std::vector<char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    execv(arguments.front(), arguments.data());
    _exit(127);
}

constexpr const char* kReceiver = "arv_gv_stream"; // the thread of the network library
constexpr double kSettleS = 0.4;                   // from its start until the load is steady
constexpr int kLookMs = 20;

double Now()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count();
}

/** Measures the CPU time of another program's threads. */
class Watch
{
public:
    Watch(pid_t pid, double lengthS)
        : tasks_("/proc/" + std::to_string(pid) + "/task"), lengthS_(lengthS)
    {
    }
    bool IsDone() const { return lengthS_ <= 0 || end_ != 0; }
    /** us of CPU time per second; 0 while the measurement is not complete. */
    double Load() const { return end_ == 0 ? 0 : (after_ - before_) / (end_ - begin_); }

    void Look()
    {
        const double now = Now();
        if (start_ == 0) {
            start_ = Receives() ? now : 0;
        } else if (begin_ == 0 && now >= start_ + kSettleS) {
            before_ = Used();
            begin_ = Now();
        } else if (begin_ != 0 && now >= begin_ + lengthS_) {
            after_ = Used();
            end_ = Now();
        }
    }

private:
    using Folder = std::filesystem::directory_iterator;

    bool Receives() const
    {
        std::error_code gone;
        for (const auto& task : Folder(tasks_, gone)) {
            std::string name;
            if (std::getline(std::ifstream(task.path() / "comm"), name) && name == kReceiver) {
                return true;
            }
        }
        return false;
    }

    /** CPU time so far, in us. */
    double Used() const
    {
        double used = 0;
        std::error_code gone;
        for (const auto& task : Folder(tasks_, gone)) {
            double ns = 0;
            std::ifstream(task.path() / "schedstat") >> ns;
            used += ns / 1000;
        }
        return used;
    }

    std::string tasks_;
    double lengthS_;
    double start_ = 0;
    double begin_ = 0;
    double end_ = 0;
    double before_ = 0;
    double after_ = 0;
};

} // namespace

Outcome RunProgram(const std::vector<std::string>& words, Rights rights, double watchedS)
{
    Outcome outcome;
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return outcome;
    }
    const pid_t pid = Start(words, rights, ends[1]);
    close(ends[1]);
    Watch watch(pid, watchedS);
    pollfd readable{ends[0], POLLIN, 0};
    std::array<char, 4096> piece{};
    for (;;) {
        const int ready = poll(&readable, 1, watch.IsDone() ? -1 : kLookMs);
        if (!watch.IsDone()) {
            watch.Look();
        }
        if (ready <= 0) {
            continue;
        }
        const ssize_t size = read(ends[0], piece.data(), piece.size());
        if (size <= 0) {
            break;
        }
        outcome.output.append(piece.data(), static_cast<std::size_t>(size));
    }
    close(ends[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    outcome.ended = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    outcome.load = watch.Load();
    return outcome;
}

Background::Background(const std::vector<std::string>& words)
{
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    pid_ = Start(words, Rights::All, nowhere);
    close(nowhere);
}

Background::~Background()
{
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
}

bool Background::IsRunning() const
{
    return waitpid(pid_, nullptr, WNOHANG) == 0;
}

} // namespace bench
