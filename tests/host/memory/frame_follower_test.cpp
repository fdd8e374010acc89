#include "memory/frame_memory.h"
#include "tests/host/memory/consumer.h"
#include "tests/system/program.h"

#include <cstring>
#include <gtest/gtest.h>

TEST(FrameFollower, ShowsFramesResizesOverwritingAndTheEnd)
{
    const std::string name = OwnMemoryName();
    kvgrab::FrameMemory memory;
    const auto frame = [&memory](std::uint32_t index, int grey) {
        memory.CountRound();
        std::memset(memory.BufPtr(index), grey, memory.ActFsize());
        EXPECT_EQ(memory.Trigger(0, 1000 + index, memory.BufPtr(index), 0,
                                 {0, 70'000, 0, 0, 7, 1'000'005'000}),
                  0);
        memory.Release();
    };
    ASSERT_TRUE(memory.Open(name));
    ASSERT_TRUE(memory.Init(100, 8));
    memory.Describe(10, 10, 1, "MONO8T");
    Program follower({KV_FRAME_FOLLOWER, "-m", name}, "/");
    ASSERT_TRUE(follower.WaitFor("8 buffers, 10 x 10 pixels MONO8T\n")) << follower.Output();
    frame(0, 50);
    EXPECT_TRUE(follower.WaitFor("frame 1  counter 70000  time 1000 us  mean 50.00  camera's frame "
                                 "7  captured 1000005000 ns\n"));

    follower.Stop();
    for (std::uint32_t i = 1; i < 5; ++i) {
        frame(i, 60);
    }
    follower.Continue();
    EXPECT_TRUE(follower.WaitFor("frame 5  counter 70000  time 1004 us  mean 60.00  "))
        << "the newest: " << follower.Output();

    follower.Stop();
    frame(5, 70);
    for (int i = 0; i < 8; ++i) {
        memory.CountRound(); // frames that were missed have taken all other buffers
    }
    follower.Continue();
    EXPECT_TRUE(follower.WaitFor("frame 6 was overwritten\n")) << follower.Output();

    ASSERT_TRUE(memory.Init(1000000, 4));
    EXPECT_TRUE(follower.WaitFor("4 buffers")) << follower.Output();
    frame(2, 80);
    EXPECT_TRUE(follower.WaitFor("frame 7  counter 70000  time 1002 us  mean 80.00  "));
    memory.Close();
    EXPECT_TRUE(follower.WaitFor("the host ended\n3 frames shown, 3 passed by, 1 overwritten\n"));
    EXPECT_EQ(follower.Wait(), 0) << follower.Output();
    EXPECT_EQ(Program({KV_FRAME_FOLLOWER, "-m", name}, "/").Wait(), 1) << "there is no host";
}
