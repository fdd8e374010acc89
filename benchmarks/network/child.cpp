#include "benchmarks/network/child.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <linux/capability.h>
#include <poll.h>
#include <string_view>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench
{

namespace
{

/** Takes all capabilities and the right to real-time priority from the program that this process
 *  will execute, even if root runs it. */
void GiveUpRights()
{
    const rlimit none{0, 0};
    setrlimit(RLIMIT_RTPRIO, &none);
    for (unsigned long capability = 0; capability <= CAP_LAST_CAP; ++capability) {
        prctl(PR_CAPBSET_DROP, capability, 0, 0, 0);
    }
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
    if (rights == Rights::None) {
        GiveUpRights();
    }
    std::vector<char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    execvp(arguments.front(), arguments.data());
    _exit(127);
}

// Names of the threads that receive: the platform's own, and the network library's.
constexpr std::string_view kReceivers[] = {"kv-receive", "arv_gv_stream"};
constexpr double kSettleS = 0.4; // from its start until the load is steady
constexpr int kLookMs = 20;
constexpr int kWaitMs = 500;

double Now()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count();
}

using Folder = std::filesystem::directory_iterator;

/** A process or a thread: its name, and the CPU time that it has used so far, in us. */
struct Task {
    explicit Task(const std::filesystem::path& folder)
    {
        std::getline(std::ifstream(folder / "comm"), name);
        double ns = 0;
        std::ifstream(folder / "schedstat") >> ns;
        us = ns / 1000;
    }
    bool Receives() const
    {
        return std::find(std::begin(kReceivers), std::end(kReceivers), name) !=
               std::end(kReceivers);
    }
    std::string name;
    double us = 0;
};

std::vector<Task> ThreadsOf(pid_t pid)
{
    std::vector<Task> threads;
    std::error_code gone;
    for (const auto& folder : Folder("/proc/" + std::to_string(pid) + "/task", gone)) {
        threads.emplace_back(folder.path());
    }
    return threads;
}

/** The folders of the kernel's threads that handle packets when interrupts take too long. */
std::vector<std::filesystem::path> SoftInterrupts()
{
    std::vector<std::filesystem::path> found;
    for (const auto& folder : Folder("/proc")) {
        if (Task(folder.path()).name.starts_with("ksoftirqd/")) {
            found.push_back(folder.path());
        }
    }
    return found;
}

/** CPU times so far, in us. */
Load Used(pid_t program, pid_t camera)
{
    static const auto softInterrupts = SoftInterrupts();
    Load used;
    for (const Task& thread : ThreadsOf(program)) {
        used.program += thread.us;
        used.receiver += thread.Receives() ? thread.us : 0;
    }
    for (const Task& thread : ThreadsOf(camera)) {
        used.sender += thread.us;
    }
    for (const auto& folder : softInterrupts) {
        used.sender += Task(folder).us;
    }
    return used;
}

/** Measures the CPU time of a program that receives, and of the camera. */
class Watch
{
public:
    Watch(pid_t program, pid_t camera, double lengthS)
        : program_(program), camera_(camera), lengthS_(lengthS)
    {
    }
    bool IsDone() const { return lengthS_ <= 0 || end_ != 0; }
    bool HasMeasured() const { return end_ != 0; }

    Load Result() const
    {
        const double s = end_ - begin_;
        return {(after_.receiver - before_.receiver) / s, (after_.program - before_.program) / s,
                (after_.sender - before_.sender) / s};
    }

    void Look()
    {
        const double now = Now();
        if (start_ == 0) {
            const auto threads = ThreadsOf(program_);
            const bool receives = std::any_of(threads.begin(), threads.end(),
                                              [](const Task& task) { return task.Receives(); });
            start_ = receives ? now : 0;
        } else if (begin_ == 0 && now >= start_ + kSettleS) {
            before_ = Used(program_, camera_);
            begin_ = Now();
        } else if (begin_ != 0 && now >= begin_ + lengthS_) {
            after_ = Used(program_, camera_);
            end_ = Now();
        }
    }

private:
    pid_t program_;
    pid_t camera_;
    double lengthS_;
    double start_ = 0;
    double begin_ = 0;
    double end_ = 0;
    Load before_;
    Load after_;
};

} // namespace

Outcome RunProgram(const std::vector<std::string>& words, Rights rights, double longestS,
                   double watchedS, pid_t camera)
{
    Outcome outcome;
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return outcome;
    }
    const pid_t pid = Start(words, rights, ends[1]);
    close(ends[1]);
    Watch watch(pid, camera, watchedS);
    pollfd readable{ends[0], POLLIN, 0};
    std::array<char, 4096> piece{};
    for (const double end = Now() + longestS;;) {
        const int ready = poll(&readable, 1, watch.IsDone() ? kWaitMs : kLookMs);
        if (!outcome.hung && Now() > end) {
            outcome.hung = true;
            kill(pid, SIGKILL);
        }
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
    outcome.measured = watch.HasMeasured();
    if (outcome.measured) {
        outcome.load = watch.Result();
    }
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
