#include "tests/faults/watched_process.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

namespace faults
{

static constexpr std::size_t kRoom = 4096;
static char* lastWords = nullptr; ///< in memory that both processes share

int WaitStatusOf(const std::function<int()>& work)
{
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL); // it ends with the process that waits
        const int result = work();
        std::fflush(stdout); // a sanitizer that finds leaks at the exit ends the process before
        std::exit(result);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

int RunWatched(const std::function<int()>& work)
{
    void* const shared =
        mmap(nullptr, kRoom, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        std::perror("mmap");
        return 1;
    }
    lastWords = static_cast<char*>(shared);
    const int status = WaitStatusOf(work);
    std::printf("%s", lastWords);
    return WIFEXITED(status) && *lastWords == '\0' ? WEXITSTATUS(status) : 1;
}

void SetLastWords(const std::string& words, unsigned seconds)
{
    std::snprintf(lastWords, kRoom, "%s", words.c_str());
    LimitTo(seconds);
}

void LimitTo(unsigned seconds)
{
    constexpr unsigned kWaiting = 10; // times as long as computing
    itimerval computing{};
    computing.it_value.tv_sec = seconds;
    setitimer(ITIMER_PROF, &computing, nullptr);
    alarm(kWaiting * seconds);
}

} // namespace faults
