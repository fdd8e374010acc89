#include "tests/system/program.h"

#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

using Clock = std::chrono::steady_clock;

Program::Program(const std::vector<std::string>& command, const std::filesystem::path& folder)
{
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    std::vector<char*> words;
    for (const std::string& word : command) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    pid_ = fork();
    if (pid_ == 0) {
        dup2(ends[1], STDOUT_FILENO);
        dup2(ends[1], STDERR_FILENO);
        if (chdir(folder.c_str()) == 0) {
            execv(words[0], words.data());
        }
        _exit(127);
    }
    close(ends[1]);
    pipe_ = ends[0];
}

Program::~Program()
{
    if (!ended_ && pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    close(pipe_);
}

void Program::Signal(int number) const
{
    kill(pid_, number);
}

void Program::Stop() const
{
    Signal(SIGSTOP);
    waitpid(pid_, nullptr, WUNTRACED);
}

/** Takes what the program wrote; false at the end of its output or when nothing came in time. */
bool Program::Read(int timeoutMs)
{
    pollfd waiting{pipe_, POLLIN, 0};
    if (poll(&waiting, 1, timeoutMs) <= 0) {
        return false;
    }
    char part[4096];
    const ssize_t got = read(pipe_, part, sizeof part);
    if (got <= 0) {
        return false;
    }
    output_.append(part, static_cast<std::size_t>(got));
    return true;
}

bool Program::WaitFor(const std::string& text, std::chrono::seconds limit)
{
    const auto until = Clock::now() + limit;
    while (true) {
        const std::size_t at = output_.find(text, seen_);
        if (at != std::string::npos) {
            seen_ = at + text.size();
            return true;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count();
        if (left <= 0 || !Read(static_cast<int>(left))) {
            return output_.find(text, seen_) != std::string::npos;
        }
    }
}

int Program::Wait(std::chrono::seconds limit)
{
    const auto until = Clock::now() + limit;
    while (!ended_) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count();
        if (left > 0 && Read(static_cast<int>(left))) {
            continue;
        }
        // Out of time, or the output ended and the program is about to.
        int status = 0;
        if (waitpid(pid_, &status, left > 0 ? 0 : WNOHANG) != pid_) {
            return -1;
        }
        ended_ = true;
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }
    return status_;
}
