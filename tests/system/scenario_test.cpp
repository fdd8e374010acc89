/** kvgrab as its users run it. Each file of scenarios/ and, with cameras on the network, of
 *  network/ is a test of its own, in a folder of its own:
 *
 *    # ...           nothing
 *    file NAME       writes a file; its lines follow, indented by four blanks
 *    start COMMAND   starts a program, which runs until the test ends; the next lines are about it
 *    about NUMBER    the next lines are about the first, second, ... program that was started
 *    see TEXT        waits until it prints TEXT, after the text that was seen before
 *    never REGEX     it has not printed a match up to now
 *    unless TEXT     skips the rest if it prints TEXT before it ends
 *    signal NAME     sends it a signal
 *    ends STATUS     waits until it ends with STATUS; 1000 plus the signal if one killed it
 *    check COMMAND   runs another command, whose exit status must be 0
 *    needs COMMAND   skips the rest if the exit status of COMMAND is not 0
 *
 *  Commands are the shell's; the variables that they use are set below. */
#include "tests/system/program.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <regex>
#include <sstream>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace
{

class Scenario : public testing::TestWithParam<std::string>
{
protected:
    Scenario()
    {
        const std::string grab = std::string(KVGRAB " --verbose --memory ") + memory_;
        const std::pair<const char*, std::string> variables[] = {
            {"KVGRAB", KVGRAB},
            {"KVCAM", KVCAM},
            {"MEMORY", memory_},
            {"GRAB", grab + " --simulation " KV_SCENARIOS "/small_camera.toml"},
            {"EXAMPLE", grab + " --frames 4 --export raw --every-frame --directory out --overwrite "
                               "--no-retry"},
            {"EXAMPLES", KV_EXAMPLES},
            {"SCRIPTS", KV_SCRIPTS},
            {"HERE", KV_SCENARIOS},
            {"DRIVER", DRIVER},
            {"FOLLOWER", FRAME_FOLLOWER},
            {"MINIMAL_HOST", MINIMAL_HOST},
            {"XDG_RUNTIME_DIR", runtime_.Path()},
            {"CTL", std::string(KVGRAB " ctl --memory ") + memory_},
        };
        for (const auto& [name, value] : variables) {
            setenv(name, value.c_str(), 1);
        }
    }
    ~Scenario() override
    {
        fs::remove("/dev/shm" + memory_);
        fs::remove("/dev/shm" + memory_ + ".consumers");
    }

    std::string Said() const { return program_ != nullptr ? program_->Output() : ""; }
    /** Runs a command to its end: its status, and what it said. */
    std::pair<int, std::string> OutcomeOf(const std::string& command) const
    {
        Program other({"/bin/sh", "-c", command}, folder_.Path());
        const int status = other.Wait(5 * kPatience);
        return {status, other.Output()};
    }
    void Do(const std::string& what, const std::string& text)
    {
        static const std::map<std::string, int> signals = {
            {"INT", SIGINT},   {"TERM", SIGTERM}, {"QUIT", SIGQUIT},
            {"HUP", SIGHUP},   {"USR1", SIGUSR1}, {"USR2", SIGUSR2},
            {"KILL", SIGKILL}, {"STOP", SIGSTOP}, {"CONT", SIGCONT}};
        if (what == "start") {
            const std::vector<std::string> command = {"/bin/sh", "-c", "exec " + text};
            program_ = std::make_shared<Program>(command, folder_.Path());
            programs_.push_back(program_);
        } else if (what == "about") {
            program_ = programs_.at(std::stoul(text) - 1);
        } else if (what == "see") {
            ASSERT_TRUE(program_->WaitFor(text)) << Said();
        } else if (what == "never") {
            ASSERT_FALSE(std::regex_search(Said(), std::regex(text))) << Said();
        } else if (what == "signal") {
            program_->Signal(signals.at(text));
        } else if (what == "ends") {
            ASSERT_EQ(program_->Wait(), std::stoi(text)) << Said();
        } else if (what == "check") {
            const auto [status, said] = OutcomeOf(text);
            ASSERT_EQ(status, 0) << said;
        } else if (what == "needs") {
            skipped_ = OutcomeOf(text).first != 0;
        } else if (what == "unless") {
            program_->Wait();
            skipped_ = Said().find(text) != std::string::npos;
        } else {
            FAIL() << "an unknown step";
        }
    }

    TempFolder folder_;
    TempFolder runtime_; ///< for control sockets
    std::string memory_ = "/kvgrab-test-" + std::to_string(getpid());
    std::vector<std::shared_ptr<Program>> programs_;
    std::shared_ptr<Program> program_;
    bool skipped_ = false;
};

TEST_P(Scenario, GoesAsWritten)
{
    std::istringstream lines(ReadFile(KV_SCENARIOS "/" + GetParam() + ".txt"));
    std::string file;
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        SCOPED_TRACE("line " + std::to_string(++number) + ": " + line);
        const std::size_t blank = line.find(' ');
        if (line.starts_with("    ")) {
            folder_.Write(file, ReadFile(folder_ / file) + line.substr(4) + "\n");
        } else if (line.starts_with("file ")) {
            file = line.substr(5);
            folder_.Write(file, "");
        } else if (!line.empty() && line[0] != '#') {
            Do(line.substr(0, blank), line.substr(blank + 1));
        }
        if (HasFatalFailure()) {
            return;
        }
        if (skipped_) {
            GTEST_SKIP() << "this machine does not allow it";
        }
    }
    EXPECT_GT(number, 0);
}

std::vector<std::string> AllScenarios()
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(KV_SCENARIOS)) {
        if (entry.path().extension() == ".txt") {
            names.push_back(entry.path().stem());
        }
    }
    return names;
}

INSTANTIATE_TEST_SUITE_P(Kvgrab, Scenario, testing::ValuesIn(AllScenarios()),
                         [](const auto& test) { return test.param; });

} // namespace
