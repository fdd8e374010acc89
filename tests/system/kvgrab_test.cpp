/** kvgrab as its users run it: good and bad configuration, signals, full disk, sudden death. */
#include "tests/system/program.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

namespace
{

constexpr const char* kSmallCamera = R"(
[[camera]]
model = "mono"
serial = "T1"
sensor_width = 640
sensor_height = 480
values = { AcquisitionFrameRate = 100, ExposureTime = 2000 }
)";

/** kvgrab in a folder of its own, on one small, quick camera. */
class Kvgrab : public testing::Test
{
protected:
    Kvgrab() { folder_.Write("net.toml", kSmallCamera); }
    ~Kvgrab() override { fs::remove("/dev/shm" + memory_); }

    std::vector<std::string> Command(const std::vector<std::string>& more = {}) const
    {
        std::vector<std::string> command = {KVGRAB, "--memory", memory_};
        command.insert(command.end(), more.begin(), more.end());
        return command;
    }
    /** `config` becomes a file; the simulated network is the small camera. */
    std::vector<std::string> WithConfig(const std::string& config,
                                        const std::vector<std::string>& more = {}) const
    {
        std::vector<std::string> words = {"--config", folder_.Write("kv.toml", config),
                                          "--simulation", folder_ / "net.toml"};
        words.insert(words.end(), more.begin(), more.end());
        return Command(words);
    }
    int Run(const std::vector<std::string>& command)
    {
        Program program(command, folder_.Path());
        const int status = program.Wait();
        output_ = program.Output();
        return status;
    }
    bool MemoryIsThere() const { return fs::exists("/dev/shm" + memory_); }
    std::size_t CountFiles(const std::string& folder, const std::string& extension) const
    {
        std::size_t count = 0;
        for (const auto& entry : fs::directory_iterator(folder_ / folder)) {
            count += entry.path().extension() == extension ? 1 : 0;
        }
        return count;
    }

    TempFolder folder_;
    std::string memory_ = "/kvgrab-test-" + std::to_string(getpid());
    std::string output_;
};

/** Lines of the log, in their order, that contain one of the texts; each text once. */
std::vector<std::string> OrderOf(const std::string& log, const std::vector<std::string>& texts)
{
    std::vector<std::string> order;
    std::set<std::string> seen;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        for (const std::string& text : texts) {
            if (line.find(text) != std::string::npos && seen.insert(text).second) {
                order.push_back(text);
            }
        }
    }
    return order;
}

} // namespace

TEST_F(Kvgrab, GrabsAndWritesAllButTheFirstFrame)
{
    ASSERT_EQ(
        Run(WithConfig("", {"run", "--frames", "20", "--export", "png", "--every-frame",
                            "--directory", folder_ / "out", "--trace", folder_ / "trace.csv"})),
        0)
        << output_;
    EXPECT_EQ(CountFiles("out", ".png"), 19U);
    const std::string trace = ReadFile(folder_.Path() / "trace.csv");
    EXPECT_THAT(trace, HasSubstr("\narrival_us,camera_ticks\n"));
    EXPECT_EQ(std::count(trace.begin(), trace.end(), '\n'), 5 + 20);
    EXPECT_THAT(output_, HasSubstr("grabbed 20, exported 19, skipped 0"));
    const std::string index = ReadFile(folder_.Path() / "out" / "index.csv");
    EXPECT_EQ(std::count(index.begin(), index.end(), '\n'), 20);
    EXPECT_FALSE(MemoryIsThere());

    // The pictures of that run are not touched by the next one, unless it is asked to.
    EXPECT_EQ(Run(WithConfig("[export]\nformat = \"png\"\ndirectory = \"out\"\non_error = "
                             "\"stop\"\n[session]\nframes = 5\n")),
              20);
    EXPECT_THAT(output_, HasSubstr("holds exported frames already"));
}

TEST_F(Kvgrab, ASessionsLogReadsAsOneStory)
{
    ASSERT_EQ(Run(WithConfig("[log]\nlevel = \"detail\"\n[session]\nframes = 3\n")), 0) << output_;
    const std::vector<std::string> story = {"init SDK staff",
                                            "Printing all the devices information found:",
                                            "Loop 0. Check configured Model \"\" with",
                                            "KvTdProc entry: mode=",
                                            "Using device Model:",
                                            "~~ Camera Device Current Settings ~~",
                                            "Have tick: ",
                                            "Use pixel format: 'MONO8T'",
                                            "Acquisition set handler entry:",
                                            "Chunks enabling is finished (0x0000000F)",
                                            "Applying initial configuration...",
                                            "~~ Camera Device New Settings ~~",
                                            "REGULAR mode - TS is obtained using box gettimeofday",
                                            "...initial configuration is applied",
                                            "AllocBuffer: asked size",
                                            "return flat buffer: ",
                                            "START GRABBING (bufferFrameSize",
                                            "****** starting capture ******",
                                            "Init timings: latencyUs=",
                                            "****** stopping capture ******",
                                            "...GRABBING IS DONE (captured 3 frames of 3 loops)",
                                            "Camera config restore is done",
                                            "Actual grabbing loop took:",
                                            "grabbing loop is completed with exitCode =0",
                                            "scenario is completed (rc = 0)",
                                            "Loop completed (exitCode = 0)"};
    EXPECT_EQ(OrderOf(output_, story), story) << output_;
}

TEST_F(Kvgrab, RefusesAWrongConfigurationWithItsPlaceBeforeAnyCameraIsTouched)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"[stream]\nbuffer = 4\n", "kv.toml:2:"},
        {"[session]\n\nframes = \"ten\"\n", "kv.toml:3:"},
        {"[region]\noffset_x = 16\n", "kv.toml:2:"},
        {"[gain]\nmode = \"manual\"\ndb = nan\n", "kv.toml:3:"},
        {"[image]\nconvert = \"mono8\"\n", "kv.toml:2:"},
        {"[image\n", "kv.toml:1:"},
    };
    for (const auto& [config, place] : cases) {
        EXPECT_EQ(Run(WithConfig(config)), 3) << config << output_;
        EXPECT_THAT(output_, HasSubstr(place)) << config;
        EXPECT_THAT(output_, Not(HasSubstr("Printing all the devices"))) << config;
    }
    EXPECT_EQ(Run(Command({"--no-such-option"})), 2);
    EXPECT_EQ(Run(Command({"--config", folder_ / "missing.toml"})), 3);
    EXPECT_EQ(Run(WithConfig("[simulation]\nnetwork = \"missing.toml\"\n", {"--frames", "2"})), 0)
        << "the command line's network wins";
}

TEST_F(Kvgrab, EndsWithADocumentedStatusWhenItMayNotWait)
{
    EXPECT_EQ(Run(WithConfig("", {"--no-retry", "--serial", "other", "--frames", "2"})), 11);
    folder_.Write("net.toml", "camera = []\n");
    EXPECT_EQ(Run(WithConfig("", {"--no-retry", "--frames", "2"})), 10) << output_;
    folder_.Write("net.toml", std::string(kSmallCamera) +
                                  "[[fault]]\ntrigger = \"call\"\nname = \"GevOpenCamera\"\neffect "
                                  "= \"fail\"\nvalue = -4\ntimes = 0\n");
    EXPECT_EQ(Run(WithConfig("", {"--no-retry", "--frames", "2"})), 12) << output_;
    folder_.Write("net.toml", std::string(kSmallCamera) + "missing = [\"ChunkEnable\"]\n");
    EXPECT_EQ(Run(WithConfig("", {"--frames", "2"})), 15) << output_;
}

TEST_F(Kvgrab, TriesAgainUntilTheCameraCanBeOpened)
{
    folder_.Write("net.toml", std::string(kSmallCamera) +
                                  "[[fault]]\ntrigger = \"call\"\nname = \"GevOpenCamera\"\neffect "
                                  "= \"fail\"\nvalue = -4\ntimes = 2\n");
    ASSERT_EQ(Run(WithConfig("", {"--retry-interval", "0.1", "--frames", "3"})), 0) << output_;
    EXPECT_THAT(output_, HasSubstr("can't connect to device"));
    EXPECT_THAT(output_, HasSubstr("grabbed 3,"));
}

TEST_F(Kvgrab, EndsOnEachTerminatingSignalAndRemovesItsMemory)
{
    for (const int signal : {SIGINT, SIGTERM, SIGQUIT}) {
        Program program(WithConfig(""), folder_.Path());
        ASSERT_TRUE(program.WaitFor("Init timings")) << program.Output();
        EXPECT_TRUE(MemoryIsThere());
        program.Signal(signal);
        EXPECT_EQ(program.Wait(), 0) << program.Output();
        EXPECT_THAT(program.Output(), HasSubstr("finishing with signal..."));
        EXPECT_FALSE(MemoryIsThere());
    }
}

TEST_F(Kvgrab, ASecondInterruptLeavesAtOnceWhileNoFramesCome)
{
    folder_.Write("net.toml", std::string(kSmallCamera) +
                                  "[[fault]]\ntrigger = \"frame\"\neffect = \"lose\"\ntimes = 0\n");
    Program program(WithConfig(""), folder_.Path());
    ASSERT_TRUE(program.WaitFor("starting capture")) << program.Output();
    program.Signal(SIGINT);
    ASSERT_TRUE(program.WaitFor("another INT or TERM leaves at once")) << program.Output();
    program.Signal(SIGINT);
    EXPECT_EQ(program.Wait(), 130) << program.Output();
    EXPECT_FALSE(MemoryIsThere());
}

TEST_F(Kvgrab, ReconfiguresOnHangUp)
{
    Program program(WithConfig("[image]\nformat = \"mono8\"\n"), folder_.Path());
    ASSERT_TRUE(program.WaitFor("Init timings")) << program.Output();

    folder_.Write("kv.toml", "[image]\nformat = \"mono13\"\n");
    program.Signal(SIGHUP);
    ASSERT_TRUE(program.WaitFor("kv.toml:2:")) << program.Output();
    ASSERT_TRUE(program.WaitFor("done, spent ")) << program.Output();

    folder_.Write("kv.toml", "[timing]\nfps = 50\n[image]\nformat = \"mono8\"\n");
    program.Signal(SIGHUP);
    ASSERT_TRUE(program.WaitFor("continue grabbing with new configuration...")) << program.Output();

    folder_.Write("kv.toml", "[image]\nformat = \"mono12\"\n");
    program.Signal(SIGHUP);
    ASSERT_TRUE(program.WaitFor("can't continue grabbing with new configuration, exiting..."));
    ASSERT_TRUE(program.WaitFor("Use pixel format: 'MONO12T'")) << program.Output();
    ASSERT_TRUE(program.WaitFor("Init timings"));
    program.Signal(SIGTERM);
    EXPECT_EQ(program.Wait(), 0) << program.Output();
}

TEST_F(Kvgrab, AppliesAChangedFileByItself)
{
    Program program(WithConfig("[exposure]\nmode = \"manual\"\ntime_us = 1000\n"), folder_.Path());
    ASSERT_TRUE(program.WaitFor("Init timings")) << program.Output();
    folder_.Write("kv.toml", "[exposure]\nmode = \"manual\"\ntime_us = 1500\n");
    EXPECT_TRUE(program.WaitFor("dynamic reconfiguration...")) << program.Output();
    program.Signal(SIGUSR1);
    EXPECT_TRUE(program.WaitFor("processing SIGUSR1...")) << program.Output();
    program.Signal(SIGTERM);
    EXPECT_EQ(program.Wait(), 0);
}

TEST_F(Kvgrab, LoadsATableAnewWhenItsFileIsSaved)
{
    const auto table = [](const char* entry) {
        std::string text = "value\n";
        for (int i = 0; i < 256; ++i) {
            text += entry + std::string("\n");
        }
        return text;
    };
    folder_.Write("table.csv", table("7"));
    Program program(WithConfig("[lut]\nmode = \"table\"\nbits = 8\nfile = \"table.csv\"\n"),
                    folder_.Path());
    ASSERT_TRUE(program.WaitFor("check LUT: val[10] = 7,")) << program.Output();
    ASSERT_TRUE(program.WaitFor("Init timings")) << program.Output();
    folder_.Write("table.csv", table("256"));
    EXPECT_TRUE(program.WaitFor("table.csv:2:1: this is \"256\"")) << program.Output();
    folder_.Write("table.csv", table("9"));
    ASSERT_TRUE(program.WaitFor("check LUT: val[10] = 9,")) << program.Output();
    EXPECT_TRUE(program.WaitFor("starting capture"));
    program.Signal(SIGTERM);
    EXPECT_EQ(program.Wait(), 0) << program.Output();
}

TEST_F(Kvgrab, EndsWhileTheDynamicTableHoldsTheDriver)
{
    for (const bool counted : {false, true}) {
        Program program(WithConfig("", {"--frames", counted ? "150" : "0"}), folder_.Path());
        ASSERT_TRUE(program.WaitFor("Init timings")) << program.Output();
        program.Signal(SIGUSR2);
        ASSERT_TRUE(program.WaitFor("...Switching to 12-bit mode")) << program.Output();
        ASSERT_TRUE(program.WaitFor("Use pixel format: 'MONO12PT'"));
        if (!counted) {
            program.Signal(SIGTERM);
        }
        EXPECT_EQ(program.Wait(), 0) << program.Output();
    }
}

TEST_F(Kvgrab, GoesOnWhenTheDiskIsFullOrEndsAsConfigured)
{
    // The folder is a file system of 1 MiB in a mount namespace of kvgrab's own. What is left there
    // is counted before the namespace ends.
    const auto onFullDisk = [this](const std::string& onError) {
        const std::vector<std::string> command =
            WithConfig("[export]\nformat = \"raw\"\ndirectory = \"full\"\non_error = \"" + onError +
                       "\"\nevery_frame = true\n[session]\nframes = 10\n");
        std::string line = "mkdir -p full; mount -t tmpfs -o size=1m none full || exit 99;";
        for (const std::string& word : command) {
            line += " '" + word + "'";
        }
        return Run({"/usr/bin/unshare", geteuid() == 0 ? "-m" : "-rm", "/bin/sh", "-c",
                    line + "; status=$?; ls full; exit $status"});
    };
    const int stopped = onFullDisk("stop");
    if (stopped == 99 || stopped == 1 || stopped == 127) {
        GTEST_SKIP() << "no file system may be mounted here: " << output_;
    }
    EXPECT_EQ(stopped, 20) << output_;
    EXPECT_EQ(onFullDisk("continue"), 0) << output_;
    EXPECT_THAT(output_, HasSubstr("grabbed 10, exported 3, skipped 0, failed 6"));
    // Three pictures of 300 KiB fit; of the others nothing stays.
    EXPECT_THAT(output_, HasSubstr("frame_000003.raw\nindex.csv\n"));
    EXPECT_THAT(output_, Not(HasSubstr("kvpart\n")));
}

TEST_F(Kvgrab, TakesOverWhatAKilledRunLeft)
{
    {
        Program program(WithConfig(""), folder_.Path());
        ASSERT_TRUE(program.WaitFor("Init timings")) << program.Output();
        EXPECT_EQ(Run(WithConfig("", {"--frames", "2"})), 5) << "a live owner keeps its memory";
        program.Signal(SIGKILL);
        EXPECT_EQ(program.Wait(), 1000 + SIGKILL);
    }
    EXPECT_TRUE(MemoryIsThere());
    EXPECT_EQ(Run(WithConfig("", {"--frames", "2"})), 0) << output_;
    EXPECT_FALSE(MemoryIsThere());
}

TEST_F(Kvgrab, AConsumerFollowsTheFrames)
{
    Program program(WithConfig(""), folder_.Path());
    ASSERT_TRUE(program.WaitFor("Init timings")) << program.Output();
    Program follower({FRAME_FOLLOWER, "-m", memory_, "-n", "5"}, folder_.Path());
    EXPECT_EQ(follower.Wait(), 0) << follower.Output();
    program.Signal(SIGTERM);
    EXPECT_EQ(program.Wait(), 0);
}

TEST_F(Kvgrab, ListsTheCamerasThatTheDriverWouldSee)
{
    ASSERT_EQ(Run(WithConfig("", {"list"})), 0) << output_;
    EXPECT_THAT(output_, HasSubstr("T1"));
    ASSERT_EQ(Run(Command({"list"})), 0);
    EXPECT_GE(std::count(output_.begin(), output_.end(), '\n'), 3) << output_;
}

TEST(MinimalHost, GrabsTenFrames)
{
    const TempFolder folder;
    Program program({MINIMAL_HOST, DRIVER}, folder.Path());
    EXPECT_EQ(program.Wait(), 0) << program.Output();
    EXPECT_EQ(OrderOf(program.Output(), {"session ended with 0"}).size(), 1U);
    std::size_t frames = 0;
    for (std::size_t at = program.Output().find("frame at"); at != std::string::npos;
         at = program.Output().find("frame at", at + 1)) {
        ++frames;
    }
    EXPECT_EQ(frames, 9U) << program.Output();
}
