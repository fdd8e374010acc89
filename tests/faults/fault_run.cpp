/** Puts each single fault into a session, one after the other, and looks how it ends. */
#include "tests/faults/last_words.h"
#include "tests/faults/reference_session.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

using faults::Census;
using faults::Fault;
using faults::Kind;

constexpr unsigned kSessionSeconds = 30; ///< of real time; a few thousandths are usual

/** How many occurrences of a place are tried. */
enum class Occurrences { FirstSecondLast, All };

/** One place with the ways in which it can fail. */
struct Place {
    std::vector<Fault> ways;
    std::uint64_t occurrences;
};

std::vector<Place> PlacesOf(const Census& census)
{
    std::vector<Place> places;
    for (const auto& [feature, count] : census.reads) {
        places.push_back({faults::WaysOfRead(feature), count});
    }
    for (const auto& [feature, count] : census.writes) {
        places.push_back({faults::WaysOfWrite(feature), count});
    }
    for (const auto& [call, count] : census.calls) {
        places.push_back({faults::WaysOfCall(call), count});
    }
    for (const auto& [service, answers] : census.answers) {
        places.push_back({faults::WaysOfAnswer(service, answers.kind), answers.count});
    }
    for (const std::string& feature : census.ranges) {
        places.push_back({faults::WaysOfRange(feature), 1});
    }
    places.push_back({faults::WaysOfCameraTexts(), 1});
    places.push_back({faults::WaysOfFrame(), census.frames});
    return places;
}

std::vector<std::uint64_t> Chosen(std::uint64_t count, Occurrences occurrences)
{
    std::vector<std::uint64_t> chosen;
    for (std::uint64_t nth = 1; nth <= count; ++nth) {
        if (occurrences == Occurrences::All || nth <= 2 || nth == count) {
            chosen.push_back(nth);
        }
    }
    return chosen;
}

std::vector<Fault> AllFaults(const Census& census, Occurrences occurrences)
{
    std::vector<Fault> all;
    for (const Place& place : PlacesOf(census)) {
        for (const std::uint64_t nth : Chosen(place.occurrences, occurrences)) {
            for (Fault fault : place.ways) {
                faults::SetOccurrence(&fault, nth);
                all.push_back(fault);
            }
        }
    }
    return all;
}

/** Where the control thread may meet an exception, a process of its own runs the session: the
 *  process ends by that, as documented, and nothing of it may stand in the next one's way. */
std::vector<std::string> RunInChild(Kind kind, const std::vector<Fault>& given, bool mustAbort)
{
    std::fflush(stdout);
    faults::SayNothing(0); // the process that waits says how the child ended
    const pid_t child = fork();
    if (child == 0) {
        faults::SayNothing(kSessionSeconds);
        if (std::freopen("/dev/null", "w", stderr) == nullptr) { // the runtime's last words
            _exit(2);
        }
        const std::vector<std::string> wrong = faults::RunWith(kind, given);
        for (const std::string& sentence : wrong) {
            std::printf("in the child: %s\n", sentence.c_str());
        }
        std::fflush(stdout);
        _exit(wrong.empty() ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    const bool aborted = WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
    const bool ended = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (mustAbort && !aborted) {
        return {"the process goes on, although an exception left the control thread"};
    }
    if (!aborted && !ended) {
        return {"the child ends with wait status " + std::to_string(status)};
    }
    return {};
}

class Runner
{
public:
    Runner(Kind kind, std::string program) : kind_(kind), program_(std::move(program)) {}

    void Try(const std::vector<Fault>& given)
    {
        ++runs_;
        const std::string command = Command(given);
        faults::SetLastWords("FAILED: the session breaks the process, or does not end\n        " +
                                 command + "\n",
                             kSessionSeconds);
        const auto any = [&given](bool (Fault::*is)() const) {
            return std::any_of(given.begin(), given.end(),
                               [is](const Fault& fault) { return (fault.*is)(); });
        };
        const bool throws = any(&Fault::ThrowsOnControlThread);
        const std::vector<std::string> wrong =
            throws || any(&Fault::MayThrowOnControlThread)
                ? RunInChild(kind_, given, throws && given.size() == 1)
                : faults::RunWith(kind_, given);
        faults::SayNothing(0);
        if (wrong.empty()) {
            return;
        }
        ++failures_;
        for (const std::string& sentence : wrong) {
            std::printf("FAILED: %s\n", sentence.c_str());
        }
        std::printf("        %s\n", command.c_str());
        std::fflush(stdout);
    }
    int Runs() const { return runs_; }
    int Failures() const { return failures_; }

private:
    std::string Command(const std::vector<Fault>& given) const
    {
        std::string command = program_ + " --session " + faults::NameOf(kind_);
        for (const Fault& fault : given) {
            command += " --one " + fault.Text();
        }
        return command;
    }

    Kind kind_;
    std::string program_;
    int runs_ = 0;
    int failures_ = 0;
};

struct Wish {
    std::vector<std::string> ones;
    std::string session;
    bool all = false;
    int pairs = 0;
    std::uint64_t seed = 1;
};

int Work(Kind kind, const Wish& wish, const std::string& program)
{
    faults::SetLastWords(
        "FAILED: the session without a fault breaks the process, or does not end\n",
        kSessionSeconds);
    faults::RunWith(kind, {}); // what is made once in a process is made now
    faults::SayNothing(0);
    Runner runner(kind, program);
    if (!wish.ones.empty()) {
        std::vector<Fault> given;
        for (const std::string& text : wish.ones) {
            const auto fault = Fault::Parse(text);
            if (!fault) {
                std::printf("'%s' is no fault\n", text.c_str());
                return 1;
            }
            given.push_back(*fault);
        }
        runner.Try(given);
    } else {
        Census census;
        for (const std::string& sentence : faults::RunWith(kind, {}, &census)) {
            std::printf("FAILED without a fault: %s\n", sentence.c_str());
            return 1;
        }
        const std::vector<Fault> all = AllFaults(
            census, wish.all || wish.pairs > 0 ? Occurrences::All : Occurrences::FirstSecondLast);
        std::mt19937_64 random(wish.seed);
        for (int i = 0; i < wish.pairs; ++i) {
            const std::size_t first = random() % all.size();
            runner.Try({all[first], all[random() % all.size()]});
        }
        for (std::size_t i = 0; wish.pairs == 0 && i < all.size(); ++i) {
            runner.Try({all[i]});
        }
    }
    std::printf("%s: %d runs, %d failed\n", faults::NameOf(kind), runner.Runs(), runner.Failures());
    return runner.Failures() == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    Wish wish;
    CLI::App app("Puts faults into a session, one after the other, and looks how it ends.\n"
                 "Without options: at each place the first, second and last time it is reached.",
                 "fault_run");
    app.add_flag("--all", wish.all, "each time that a place is reached");
    app.add_option("--pairs", wish.pairs, "so many pairs of faults, chosen at random");
    app.add_option("--seed", wish.seed, "of the choice of pairs");
    app.add_option("--one", wish.ones,
                   "this fault alone, as a failing run prints it; may be repeated")
        ->take_all();
    app.add_option("--session", wish.session, "manual-mono or automatic-color; both without it");
    CLI11_PARSE(app, argc, argv);
    int result = 0;
    for (const Kind kind : faults::kKinds) {
        if (wish.session.empty() || wish.session == faults::NameOf(kind)) {
            result |= Work(kind, wish, argv[0]);
        }
    }
    return result;
}
