/** Runs one session for each possible single fault, and checks how it ends. */
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

constexpr unsigned kSessionSeconds = 30; ///< to compute in; a few thousandths are usual

/** One place with the ways in which it can fail. */
struct Place {
    std::string where;
    std::string name;
    std::uint64_t occurrences;
    faults::Ways ways;
};

std::vector<Place> PlacesOf(const Census& census)
{
    std::vector<Place> places;
    const auto add = [&places](const std::string& where, const auto& counts) {
        for (const auto& [name, count] : counts) {
            places.push_back({where, name, count, faults::WaysOf(where)});
        }
    };
    add("read", census.reads);
    add("write", census.writes);
    add("call", census.calls);
    for (const auto& [service, answers] : census.answers) {
        places.push_back({"host", service, answers.count, faults::WaysOf("host", answers.kind)});
    }
    for (const std::string& feature : census.ranges) {
        places.push_back({"range", feature, 1, faults::WaysOf("range")});
    }
    for (const std::string& text : faults::CameraTexts()) {
        // Without a model the camera has its model's own name.
        places.push_back({"text", text, 1,
                          text == "model" ? faults::Ways{"long_text"} : faults::WaysOf("text")});
    }
    places.push_back({"frame", "any", census.frames, faults::WaysOf("frame")});
    return places;
}

/** Each way of each place to fail, at the first, second and last time that it is reached, or each
 *  time. */
std::vector<Fault> FaultsOf(const Census& census, bool eachTime)
{
    std::vector<Fault> all;
    for (const Place& place : PlacesOf(census)) {
        for (std::uint64_t nth = 1; nth <= place.occurrences; ++nth) {
            if (!eachTime && nth > 2 && nth != place.occurrences) {
                continue;
            }
            for (const std::string& how : place.ways) {
                all.push_back({place.where, place.name, nth, how});
            }
        }
    }
    return all;
}

/** Where the control thread may meet an exception, a process of its own runs the session: that
 *  exception ends the process, as documented, and must not get in the way of the next session. */
std::vector<std::string> RunInChild(Kind kind, const std::vector<Fault>& given, bool mustAbort)
{
    std::fflush(stdout);
    faults::SayNothing(0); // the waiting process prints how the child ended
    const pid_t child = fork();
    if (child == 0) {
        faults::SayNothing(kSessionSeconds);
        if (std::freopen("/dev/null", "w", stderr) ==
            nullptr) { // what the runtime prints when it aborts
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
        return {"the process goes on although an exception left the control thread"};
    }
    if (!aborted && !ended) {
        return {"the child ends with wait status " + std::to_string(status)};
    }
    return {};
}

/** Runs one session with these faults; whether it ended as it should. */
bool Try(Kind kind, const std::vector<Fault>& given, const char* program)
{
    std::string command = std::string(program) + " --session " + faults::NameOf(kind);
    bool throws = false;
    bool mayThrow = false;
    for (const Fault& fault : given) {
        command += " --one " + fault.Text();
        throws |= fault.ThrowsOnControlThread();
        mayThrow |= fault.MayThrowOnControlThread();
    }
    faults::SetLastWords("FAILED: the session breaks the process, or does not end\n        " +
                             command + "\n",
                         kSessionSeconds);
    const std::vector<std::string> wrong =
        throws || mayThrow ? RunInChild(kind, given, throws && given.size() == 1)
                           : faults::RunWith(kind, given);
    faults::SayNothing(0);
    for (const std::string& sentence : wrong) {
        std::printf("FAILED: %s\n        %s\n", sentence.c_str(), command.c_str());
    }
    std::fflush(stdout);
    return wrong.empty();
}

struct Options {
    std::vector<std::string> ones;
    std::string session;
    bool all = false;
    int pairs = 0;
    std::uint64_t seed = 1;
    std::size_t part = 1;
    std::size_t parts = 1;
};

/** What is to be tried, in order; each entry is injected into one session. */
std::vector<std::vector<Fault>> Trials(const Options& options, const Census& census)
{
    const std::vector<Fault> all = FaultsOf(census, options.all || options.pairs > 0);
    std::vector<std::vector<Fault>> trials;
    std::mt19937_64 random(options.seed);
    for (int i = 0; i < options.pairs; ++i) {
        const std::size_t first = random() % all.size();
        trials.push_back({all[first], all[random() % all.size()]});
    }
    for (std::size_t i = 0; options.pairs == 0 && i < all.size(); ++i) {
        trials.push_back({all[i]});
    }
    return trials;
}

int Work(Kind kind, const Options& options, const std::vector<Fault>& ones, const char* program)
{
    faults::SetLastWords(
        "FAILED: the session without a fault breaks the process, or does not end\n",
        kSessionSeconds);
    faults::RunWith(kind, {}); // what is allocated once in a process is allocated now
    Census census;
    const std::vector<std::string> wrong = faults::RunWith(kind, {}, &census);
    faults::SayNothing(0);
    for (const std::string& sentence : wrong) {
        std::printf("FAILED without a fault: %s\n", sentence.c_str());
    }
    if (!wrong.empty()) {
        return 1;
    }
    const auto trials =
        ones.empty() ? Trials(options, census) : std::vector<std::vector<Fault>>{ones};
    int runs = 0;
    int failures = 0;
    for (std::size_t i = options.part - 1; i < trials.size(); i += options.parts) {
        ++runs;
        failures += Try(kind, trials[i], program) ? 0 : 1;
    }
    std::printf("%s: %d runs, %d failed\n", faults::NameOf(kind), runs, failures);
    return failures == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    CLI::App app(
        "Injects faults into a session, one after the other, and checks how the session ends.\n"
        "Without options: at each place the first, second and last time that it is reached.",
        "fault_run");
    app.add_flag("--all", options.all, "each time that a place is reached");
    app.add_option("--pairs", options.pairs, "this many pairs of faults, chosen at random");
    app.add_option("--seed", options.seed, "of the choice of pairs");
    app.add_option("--one", options.ones,
                   "this fault alone, as a failing run prints it; may be repeated")
        ->take_all();
    app.add_option("--session", options.session, "manual-mono or automatic-color; without it both");
    app.add_option("--part", options.part, "which of --parts, from 1")->check(CLI::PositiveNumber);
    app.add_option("--parts", options.parts, "split the sessions into so many parts and run one")
        ->check(CLI::PositiveNumber);
    CLI11_PARSE(app, argc, argv);
    std::vector<Fault> ones;
    for (const std::string& text : options.ones) {
        const auto fault = Fault::Parse(text);
        if (!fault) {
            std::printf("'%s' is not a fault\n", text.c_str());
            return 1;
        }
        ones.push_back(*fault);
    }
    int result = 0;
    for (const Kind kind : faults::kKinds) {
        if (options.session.empty() || options.session == faults::NameOf(kind)) {
            result |= Work(kind, options, ones, argv[0]);
        }
    }
    return result;
}
