#include "memory/frame_memory.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kvgrab
{
namespace
{

using ::testing::HasSubstr;

/** The example as a process of its own, with its output at hand. */
class Follower
{
public:
    explicit Follower(const std::string& name)
    {
        int output[2];
        EXPECT_EQ(pipe(output), 0);
        process_ = fork();
        if (process_ == 0) {
            dup2(output[1], STDOUT_FILENO);
            close(output[0]);
            close(output[1]);
            execl(KV_FRAME_FOLLOWER, "frame_follower", "-m", name.c_str(), nullptr);
            _exit(127);
        }
        close(output[1]);
        output_ = fdopen(output[0], "r");
    }
    ~Follower()
    {
        std::fclose(output_);
        if (process_ > 0) {
            kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
        }
    }
    Follower(const Follower&) = delete;
    Follower& operator=(const Follower&) = delete;

    std::string Line()
    {
        char text[256];
        return std::fgets(text, sizeof text, output_) == nullptr ? "(no more)" : text;
    }
    void Stop()
    {
        kill(process_, SIGSTOP);
        waitpid(process_, nullptr, WUNTRACED);
    }
    void Continue() { kill(process_, SIGCONT); }
    int ExitCode()
    {
        int status = 0;
        waitpid(process_, &status, 0);
        process_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t process_ = 0;
    FILE* output_ = nullptr;
};

class FrameFollowerTest : public ::testing::Test
{
protected:
    void Frame(std::uint32_t index, int grey)
    {
        memory_.CountRound();
        std::memset(memory_.BufPtr(index), grey, memory_.ActFsize());
        ASSERT_EQ(memory_.Trigger(0, 1000 + index, memory_.BufPtr(index), 0, {0, 42, 0, 0}), 0);
        memory_.Release();
    }
    std::string name_ = "/kvgrab-follower-" + std::to_string(getpid());
    FrameMemory memory_;
};

TEST_F(FrameFollowerTest, ShowsFramesResizesOverwritingAndTheEnd)
{
    ASSERT_TRUE(memory_.Open(name_));
    ASSERT_TRUE(memory_.Init(100, 8));
    memory_.Describe(10, 10, 1, "MONO8T");
    Follower follower(name_);
    EXPECT_THAT(follower.Line(), HasSubstr("8 buffers, 10 x 10 pixels MONO8T"));
    Frame(0, 50);
    EXPECT_EQ(follower.Line(), "frame 1  counter 42  time 1000 us  mean 50.00\n");

    follower.Stop();
    for (std::uint32_t i = 1; i < 5; ++i) {
        Frame(i, 60);
    }
    follower.Continue();
    EXPECT_THAT(follower.Line(), HasSubstr("frame 5 ")) << "the newest";

    follower.Stop();
    Frame(5, 70);
    for (int i = 0; i < 8; ++i) {
        memory_.CountRound(); // frames that were missed have taken all other buffers
    }
    follower.Continue();
    EXPECT_EQ(follower.Line(), "frame 6 was overwritten\n");

    ASSERT_TRUE(memory_.Init(1000000, 4));
    EXPECT_THAT(follower.Line(), HasSubstr("4 buffers"));
    Frame(2, 80);
    EXPECT_EQ(follower.Line(), "frame 7  counter 42  time 1002 us  mean 80.00\n");

    memory_.Close();
    EXPECT_EQ(follower.Line(), "the host ended\n");
    EXPECT_EQ(follower.Line(), "3 frames shown, 3 passed by, 1 overwritten\n");
    EXPECT_EQ(follower.ExitCode(), 0);
}

TEST_F(FrameFollowerTest, WithoutAHostItSaysSo)
{
    Follower follower(name_);
    EXPECT_EQ(follower.ExitCode(), 1);
}

} // namespace
} // namespace kvgrab
