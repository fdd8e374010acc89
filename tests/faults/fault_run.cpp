/** Runs one session for each possible single fault, and checks how it ends. */
#include "tests/faults/reference_session.h"
#include "tests/faults/watched_process.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

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

using Faults = std::vector<Fault>; ///< of one session
using Sentences = std::vector<std::string>;

/** Prints each sentence between `before` and `after`; whether there is none. */
bool Print(const Sentences& wrong, const std::string& before, const std::string& after = "")
{
    for (const std::string& sentence : wrong) {
        fmt::print("{}: {}\n{}", before, sentence, after);
    }
    std::fflush(stdout);
    return wrong.empty();
}

/** Each way of each place to fail, at the first, second and last time that it is reached, or each
 *  time. */
Faults FaultsOf(const Census& census, bool eachTime)
{
    Faults all;
    for (const auto& [place, reached] : census) {
        for (std::uint64_t nth = 1; nth <= reached.times; ++nth) {
            if (!eachTime && nth > 2 && nth != reached.times) {
                continue;
            }
            for (const std::string_view how : reached.ways) {
                all.push_back({place.first, place.second, nth, std::string(how)});
            }
        }
    }
    return all;
}

/** Where the control thread may meet an exception, a process of its own runs the session: that
 *  exception ends the process, as documented, and must not get in the way of the next session. */
Sentences RunInChild(Kind kind, const Faults& given, bool mustAbort)
{
    faults::LimitTo(0); // the child has limits of its own, and the waiting process tells of its end
    const int status = faults::WaitStatusOf([&] {
        faults::LimitTo(kSessionSeconds);
        if (std::freopen("/dev/null", "w", stderr) == nullptr) { // for what the runtime prints when
            _exit(2);                                            // it aborts
        }
        _exit(Print(faults::RunWith(kind, given), "in the child") ? 0 : 1);
        return 0;
    });
    const bool aborted = WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
    if (mustAbort && !aborted) {
        return {"the process goes on although an exception left the control thread"};
    }
    if (!aborted && status != 0) {
        return {fmt::format("the child ends with wait status {}", status)};
    }
    return {};
}

/** Runs one session with these faults; whether it ended as it should. */
bool Try(Kind kind, const Faults& given, const char* program)
{
    std::string command =
        fmt::format("{} --session {}", program, base::NameIn<Kind>(faults::kKinds, kind));
    bool throws = false;
    bool mayThrow = false;
    for (const Fault& fault : given) {
        command += " --one " + fault.Text();
        throws |= fault.ThrowsOnControlThread();
        mayThrow |= fault.MayThrowOnControlThread();
    }
    faults::SetLastWords(
        fmt::format("FAILED: the session breaks the process, or does not end\n        {}\n",
                    command),
        kSessionSeconds);
    const Sentences wrong = throws || mayThrow
                                ? RunInChild(kind, given, throws && given.size() == 1)
                                : faults::RunWith(kind, given);
    faults::SetLastWords("", 0);
    return Print(wrong, "FAILED", fmt::format("        {}\n", command));
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
std::vector<Faults> Trials(const Options& options, const Census& census)
{
    Faults ones;
    for (const std::string& text : options.ones) {
        ones.push_back(*Fault::Parse(text));
    }
    if (!ones.empty()) {
        return {ones};
    }
    const Faults all = FaultsOf(census, options.all || options.pairs > 0);
    std::vector<Faults> trials;
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

/** The number of failures. */
int Work(Kind kind, const Options& options, const char* program)
{
    faults::SetLastWords(
        "FAILED: the session without a fault breaks the process, or does not end\n",
        kSessionSeconds);
    faults::RunWith(kind, {}); // what is allocated once in a process is allocated now
    Census census;
    const Sentences wrong = faults::RunWith(kind, {}, &census);
    faults::SetLastWords("", 0);
    if (!Print(wrong, "FAILED without a fault")) {
        return 1;
    }
    const std::vector<Faults> trials = Trials(options, census);
    int runs = 0;
    int failures = 0;
    for (std::size_t i = options.part - 1; i < trials.size(); i += options.parts) {
        ++runs;
        failures += Try(kind, trials[i], program) ? 0 : 1;
    }
    fmt::print("{}: {} runs, {} failed\n", base::NameIn<Kind>(faults::kKinds, kind), runs,
               failures);
    return failures;
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
        ->take_all()
        ->check(
            [](const std::string& text) {
                return Fault::Parse(text) ? "" : fmt::format("'{}' is not a fault", text);
            },
            "FAULT");
    app.add_option("--session", options.session, "manual-mono or automatic-color; without it both");
    app.add_option("--part", options.part, "which of --parts, from 1")->check(CLI::PositiveNumber);
    app.add_option("--parts", options.parts, "split the sessions into so many parts and run one")
        ->check(CLI::PositiveNumber);
    CLI11_PARSE(app, argc, argv);
    return faults::RunWatched([&] {
        int failures = 0;
        for (const auto& [name, kind] : faults::kKinds) {
            if (options.session.empty() || options.session == name) {
                failures += Work(kind, options, argv[0]);
            }
        }
        return failures == 0 ? 0 : 1;
    });
}
