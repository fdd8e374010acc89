#include "tests/faults/last_words.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <sys/time.h>
#include <unistd.h>

/** Exists only in a process with a sanitizer. */
extern "C" void __sanitizer_set_death_callback(void (*callback)()) // NOLINT
    __attribute__((weak));

namespace faults
{

namespace
{

constexpr std::array kSignals = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGALRM, SIGPROF};

char words[1024]; ///< for a signal's handler, which can't use the heap
std::size_t length = 0;
std::array<struct sigaction, kSignals.size()> before;
bool installed = false;

void Restore()
{
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        sigaction(kSignals[i], &before[i], nullptr);
    }
    installed = false;
}

void Say()
{
    const std::size_t all = length;
    length = 0; // a sanitizer may end what a signal began
    if (all != 0 && write(STDOUT_FILENO, words, all) < 0) {
        _exit(1);
    }
}

/** The signal comes again, now to whoever had it before. */
void Died(int signal)
{
    Say();
    Restore();
    if (signal == SIGALRM || signal == SIGPROF) {
        raise(signal); // the others come again by themselves
    }
}

void Install()
{
    struct sigaction action = {};
    action.sa_handler = Died;
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        sigaction(kSignals[i], &action, &before[i]);
    }
    if (__sanitizer_set_death_callback != nullptr) {
        __sanitizer_set_death_callback(Say);
    }
    installed = true;
}

void LimitTo(unsigned seconds)
{
    constexpr unsigned kWaiting = 10; // times as long as computing
    itimerval computing{};
    computing.it_value.tv_sec = seconds;
    setitimer(ITIMER_PROF, &computing, nullptr);
    alarm(kWaiting * seconds);
}

} // namespace

void SetLastWords(const std::string& text, unsigned seconds)
{
    if (!installed) {
        Install();
    }
    length = 0;
    const std::size_t fitting = std::min(text.size(), sizeof words);
    std::memcpy(words, text.data(), fitting);
    length = fitting;
    LimitTo(seconds);
}

void SayNothing(unsigned seconds)
{
    length = 0;
    if (installed) {
        Restore();
    }
    LimitTo(seconds);
}

} // namespace faults
