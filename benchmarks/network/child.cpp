#include "child.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench
{

namespace
{

/** `output`: where its standard output and error go. */
pid_t Start(const std::vector<std::string>& words, int output)
{
    const pid_t pid = fork();
    if (pid != 0) {
        return pid;
    }
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    std::vector<char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    execv(arguments.front(), arguments.data());
    _exit(127);
}

double Us(const timeval& time)
{
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
}

} // namespace

Cost RunProgram(const std::vector<std::string>& words)
{
    Cost cost;
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return cost;
    }
    const pid_t pid = Start(words, ends[1]);
    close(ends[1]);
    std::array<char, 4096> piece{};
    for (ssize_t size = 0; (size = read(ends[0], piece.data(), piece.size())) > 0;) {
        cost.output.append(piece.data(), static_cast<std::size_t>(size));
    }
    close(ends[0]);
    int status = 0;
    rusage used{};
    wait4(pid, &status, 0, &used);
    cost.ended = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    cost.cpuUs = Us(used.ru_utime) + Us(used.ru_stime);
    return cost;
}

Background::Background(const std::vector<std::string>& words)
{
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    pid_ = Start(words, nowhere);
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
