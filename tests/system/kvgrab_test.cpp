/** kvgrab as its users run it: good and bad configuration, signals, full disk, sudden death. */
#include "tests/system/program.h"

#include <algorithm>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;
using Words = std::vector<std::string>;

namespace
{

const std::string kSmallCamera =
    "[[camera]]\nmodel = \"mono\"\nserial = \"T1\"\nsensor_width = 640\nsensor_height = 480\n"
    "values = { AcquisitionFrameRate = 100, ExposureTime = 2000 }\n";

/** kvgrab in a folder of its own, on one small, quick camera. */
class Kvgrab : public testing::Test
{
protected:
    Kvgrab() { folder_.Write("net.toml", kSmallCamera); }
    ~Kvgrab() override { fs::remove("/dev/shm" + memory_); }

    Words Command(const Words& more = {}) const
    {
        Words command = {KVGRAB, "--memory", memory_};
        command.insert(command.end(), more.begin(), more.end());
        return command;
    }
    /** `config` becomes a file; the simulated network is the small camera. */
    Words WithConfig(const std::string& config, const Words& more = {}) const
    {
        Words words = {"--config", folder_.Write("kv.toml", config), "--simulation",
                       folder_ / "net.toml"};
        words.insert(words.end(), more.begin(), more.end());
        return Command(words);
    }
    int Run(const Words& command)
    {
        Program program(command, folder_.Path());
        const int status = program.Wait();
        output_ = program.Output();
        return status;
    }
    /** Starts kvgrab and waits until it grabs. */
    void Start(const std::string& config, const Words& more = {})
    {
        program_.emplace(WithConfig(config, more), folder_.Path());
        See("Init timings");
    }
    /** Sees to it that kvgrab says so, after what was seen before. */
    void See(const std::string& text)
    {
        ASSERT_TRUE(program_->WaitFor(text)) << text << " is missing in:\n" << program_->Output();
    }
    void EndsWith(int signal, int status = 0)
    {
        program_->Signal(signal);
        EXPECT_EQ(program_->Wait(), status) << program_->Output();
    }
    bool MemoryIsThere() const { return fs::exists("/dev/shm" + memory_); }

    TempFolder folder_;
    std::string memory_ = "/kvgrab-test-" + std::to_string(getpid());
    std::string output_;
    std::optional<Program> program_;
};

} // namespace

TEST_F(Kvgrab, GrabsAndWritesAllButTheFirstFrame)
{
    ASSERT_EQ(
        Run(WithConfig("", {"run", "--frames", "20", "--export", "png", "--every-frame",
                            "--directory", folder_ / "out", "--trace", folder_ / "trace.csv"})),
        0)
        << output_;
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_ / "out"), {}), 19 + 1);
    const std::string trace = ReadFile(folder_ / "trace.csv");
    EXPECT_THAT(trace, HasSubstr("\narrival_us,camera_ticks\n"));
    EXPECT_EQ(std::count(trace.begin(), trace.end(), '\n'), 5 + 20);
    EXPECT_THAT(output_, HasSubstr("grabbed 20, exported 19, skipped 0"));
    const std::string index = ReadFile(folder_ / "out/index.csv");
    EXPECT_EQ(std::count(index.begin(), index.end(), '\n'), 1 + 19);
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
    std::istringstream story(ReadFile(KV_STORY));
    std::size_t at = 0;
    for (std::string text; std::getline(story, text);) {
        const std::size_t found = output_.find(text, at);
        ASSERT_NE(found, std::string::npos) << text << " is missing in:\n" << output_.substr(at);
        EXPECT_EQ(output_.find(text), found) << text << " comes too early, too";
        at = found + text.size();
    }
    EXPECT_GT(at, 0U);
}

TEST_F(Kvgrab, RefusesAWrongConfigurationWithItsPlaceBeforeAnyCameraIsTouched)
{
    const std::pair<const char*, const char*> cases[] = {
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

TEST_F(Kvgrab, EndsWithADocumentedStatusOrTriesAgain)
{
    const std::string openFails = kSmallCamera + "[[fault]]\ntrigger = \"call\"\nname = "
                                                 "\"GevOpenCamera\"\neffect = \"fail\"\n"
                                                 "value = -4\ntimes = ";
    const struct {
        std::string network;
        Words options;
        int status;
        const char* said;
    } cases[] = {
        {kSmallCamera, {"--no-retry", "--serial", "other"}, 11, "none of the cameras is the one"},
        {"camera = []\n", {"--no-retry"}, 10, "there is no camera"},
        {openFails + "0\n", {"--no-retry"}, 12, "can't be opened"},
        {openFails + "2\n", {"--retry-interval", "0.1"}, 0, "can't connect to device"},
        {kSmallCamera + "missing = [\"ChunkEnable\"]\n", {}, 15, "refused the configuration"},
    };
    for (const auto& c : cases) {
        folder_.Write("net.toml", c.network);
        Words options = c.options;
        options.insert(options.end(), {"--frames", "2"});
        EXPECT_EQ(Run(WithConfig("", options)), c.status) << output_;
        EXPECT_THAT(output_, HasSubstr(c.said));
        EXPECT_THAT(output_, HasSubstr(c.status == 0 ? "grabbed 2," : "grabbed 0,"));
    }
}

TEST_F(Kvgrab, EndsOnEachTerminatingSignalAndRemovesItsMemory)
{
    for (const int signal : {SIGINT, SIGTERM, SIGQUIT}) {
        Start("");
        EXPECT_TRUE(MemoryIsThere());
        EndsWith(signal);
        EXPECT_THAT(program_->Output(), HasSubstr("finishing with signal..."));
        EXPECT_FALSE(MemoryIsThere());
    }
}

TEST_F(Kvgrab, ASecondInterruptLeavesAtOnceWhileNoFramesCome)
{
    folder_.Write("net.toml",
                  kSmallCamera + "[[fault]]\ntrigger = \"frame\"\neffect = \"lose\"\ntimes = 0\n");
    program_.emplace(WithConfig(""), folder_.Path());
    See("starting capture");
    program_->Signal(SIGINT);
    See("another INT or TERM leaves at once");
    EndsWith(SIGINT, 130);
    EXPECT_FALSE(MemoryIsThere());
}

TEST_F(Kvgrab, ReconfiguresOnHangUp)
{
    Start("[image]\nformat = \"mono8\"\n");
    const std::pair<const char*, Words> steps[] = {
        {"[image]\nformat = \"mono13\"\n", {"kv.toml:2:", "done, spent "}},
        {"[timing]\nfps = 50\n[image]\nformat = \"mono8\"\n",
         {"continue grabbing with new configuration..."}},
        {"[image]\nformat = \"mono12\"\n",
         {"can't continue grabbing with new configuration, exiting...",
          "Use pixel format: 'MONO12T'", "Init timings"}},
    };
    for (const auto& [config, said] : steps) {
        folder_.Write("kv.toml", config);
        program_->Signal(SIGHUP);
        for (const std::string& text : said) {
            See(text);
        }
    }
    EndsWith(SIGTERM);
}

TEST_F(Kvgrab, AppliesAChangedFileByItself)
{
    const auto table = [this](const std::string& entry) {
        std::string text = "value\n";
        for (int i = 0; i < 256; ++i) {
            text += entry + "\n";
        }
        folder_.Write("table.csv", text);
    };
    table("7");
    const std::string lut = "[lut]\nmode = \"table\"\nbits = 8\nfile = \"table.csv\"\n";
    Start(lut);
    EXPECT_THAT(program_->Output(), HasSubstr("check LUT: val[10] = 7,"));
    folder_.Write("kv.toml", lut + "[exposure]\nmode = \"manual\"\ntime_us = 1500\n");
    See("dynamic reconfiguration...");
    program_->Signal(SIGUSR1);
    See("processing SIGUSR1...");
    table("256");
    See("table.csv:2:1: this is \"256\"");
    table("9");
    See("check LUT: val[10] = 9,");
    See("starting capture");
    EndsWith(SIGTERM);
}

TEST_F(Kvgrab, EndsWhileTheDynamicTableHoldsTheDriver)
{
    for (const bool counted : {false, true}) {
        Start("", {"--frames", counted ? "600" : "0"}); // six seconds in which the signal can come
        program_->Signal(SIGUSR2);
        See("...Switching to 12-bit mode");
        See("Use pixel format: 'MONO12PT'");
        EndsWith(counted ? 0 : SIGTERM);
    }
}

TEST_F(Kvgrab, GoesOnWhenTheDiskIsFullOrEndsAsConfigured)
{
    // The folder is a file system of 1 MiB in a mount namespace of kvgrab's own. What is left there
    // is counted before the namespace ends.
    const auto onFullDisk = [this](const std::string& onError) {
        const Words command =
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

TEST_F(Kvgrab, AConsumerFollowsTheFramesAndTheNextRunTakesOverWhatAKilledOneLeft)
{
    Start("");
    Program follower({FRAME_FOLLOWER, "-m", memory_, "-n", "5"}, folder_.Path());
    EXPECT_EQ(follower.Wait(), 0) << follower.Output();
    EXPECT_EQ(Run(WithConfig("", {"--frames", "2"})), 5) << "a live owner keeps its memory";
    EndsWith(SIGKILL, 1000 + SIGKILL);
    EXPECT_TRUE(MemoryIsThere());
    EXPECT_EQ(Run(WithConfig("", {"--frames", "2"})), 0) << output_;
    EXPECT_FALSE(MemoryIsThere());
}

TEST_F(Kvgrab, ListsTheCamerasThatTheDriverWouldSee)
{
    ASSERT_EQ(Run(WithConfig("", {"list"})), 0) << output_;
    EXPECT_THAT(output_, HasSubstr("T1"));
    ASSERT_EQ(Run(Command({"list"})), 0);
    EXPECT_GE(std::count(output_.begin(), output_.end(), '\n'), 3) << output_;
}

TEST_F(Kvgrab, TheMinimalHostGrabsTenFrames)
{
    EXPECT_EQ(Run({MINIMAL_HOST, DRIVER}), 0) << output_;
    EXPECT_THAT(output_, HasSubstr("session ended with 0"));
    std::size_t frames = 0;
    for (std::size_t at = 0; (at = output_.find("frame at", at)) != std::string::npos; ++at) {
        ++frames;
    }
    EXPECT_EQ(frames, 9U) << output_;
}
