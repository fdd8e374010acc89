#include "memory/frame_memory.h"
#include "memory/publish_frame.h"
#include "tests/host/memory/consumer.h"

#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <utility>
#include <vector>

namespace
{

using namespace kvgrab;
using namespace KvFrames;
using testing::ElementsAre;
using testing::HasSubstr;

bool Exists(const std::string& name)
{
    return std::filesystem::exists("/dev/shm" + name);
}

/** An open memory with buffers, and a transfer that fills them one after the other. */
struct Memory : FrameMemory {
    Memory(std::uint32_t bufferBytes, std::uint32_t bufferCount,
           const std::string& name = OwnMemoryName())
    {
        EXPECT_TRUE(Open(name) && Init(bufferBytes, bufferCount)) << Error();
    }
    /** A frame arrives and is held. */
    std::uint32_t Arrive()
    {
        CountRound();
        const std::uint32_t index = arrived++ % BufferCount();
        EXPECT_EQ(Trigger(0, 1000 + arrived, BufPtr(index), 0, {}), kTriggerAccepted);
        return index;
    }
    std::uint32_t arrived = 0;
};

TEST(FrameMemory, BuffersAreOneEvenPageAlignedBlockThatConsumersSee)
{
    FrameMemory memory;
    ASSERT_TRUE(memory.Open(OwnMemoryName())) << memory.Error();
    EXPECT_EQ(memory.BufPtr(0), nullptr);
    ASSERT_TRUE(memory.Init(5000, 70)) << memory.Error(); // 70 infos take more than a page
    memory.SetActFsize(4900);
    memory.Describe(70, 70, 1, "MONO8T");
    const Consumer consumer;
    EXPECT_EQ(consumer.Header().magic, kFrameMemoryMagic);
    EXPECT_EQ(consumer.Header().bufferCount, 70U);
    EXPECT_EQ(consumer.Header().frameBytes, 4900U);
    EXPECT_STREQ(consumer.Header().codec, "MONO8T");
    EXPECT_EQ(memory.Stride(), 8192U);
    EXPECT_LE(consumer.Header().pixelOffset + 70 * memory.Stride(), consumer.Bytes());
    EXPECT_GE(consumer.ReservedBytes(), consumer.Bytes()) << "a full /dev/shm shows at the start";
    for (std::uint32_t i = 0; i < 70; ++i) {
        auto* buffer = static_cast<std::uint8_t*>(memory.BufPtr(i));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer) % 4096, 0U);
        EXPECT_EQ(buffer, static_cast<std::uint8_t*>(memory.BufPtr(0)) + i * memory.Stride());
        buffer[0] = static_cast<std::uint8_t>(i);
        buffer[4999] = static_cast<std::uint8_t>(i + 1);
        EXPECT_EQ(consumer.Pixels(i)[0], i);
        EXPECT_EQ(consumer.Pixels(i)[4999], i + 1);
        EXPECT_EQ(consumer.Info(i).word, 0U) << "pixels and infos must not overlap";
    }
    EXPECT_EQ(memory.BufPtr(70), nullptr);
}

TEST(FrameMemory, TriggerPublishesOnlyOurBuffers)
{
    Memory memory(4096, 4);
    const Consumer consumer;
    auto* second = static_cast<std::byte*>(memory.BufPtr(1));
    memory.CountRound();
    for (const std::ptrdiff_t off : {1, 3 * 4096, -2 * 4096}) { // inside, one beyond, one before
        EXPECT_EQ(memory.Trigger(0, 1, second + off, 0, {}), kTriggerNotOurs) << off;
    }
    EXPECT_EQ(memory.Trigger(2, 1, second, 0, {}), kTriggerNoInstance);
    EXPECT_EQ(memory.Trigger(1, 1, second, 0, {}), kTriggerNoInstance) << "not prepared";
    EXPECT_EQ(consumer.Header().newestSequence, 0U);

    EXPECT_EQ(memory.Trigger(0, 77, second, 0, {}), kTriggerAccepted);
    EXPECT_EQ(memory.HeldImage(), second);
    EXPECT_EQ(consumer.Header().newestSequence, 1U);
    EXPECT_EQ(consumer.Header().newestIndex, 1U);

    EXPECT_FALSE(memory.InstanceInit(1, 4097)) << "the buffers are too small";
    ASSERT_TRUE(memory.InstanceInit(1, 4096));
    EXPECT_EQ(memory.Trigger(1, 78, memory.BufPtr(2), 0, {}), kTriggerAccepted);
    EXPECT_EQ(consumer.Header().instances[1].newestIndex, 2U);
    EXPECT_EQ(consumer.Header().newestIndex, 1U) << "converted frames are not the newest frame";

    memory.Announce(5000, 5, 800);
    EXPECT_EQ(consumer.Header().nextTimeUs, 5000U);
    EXPECT_EQ(consumer.Header().announcements % 2, 0U);
}

/** A buffer's record that notes what is stored, in order. */
struct WatchedInfo {
    struct Word {
        WatchedInfo* info;
        template <class Value> void store(Value value, std::memory_order order) const
        {
            if (this == &info->word) {
                info->words.emplace_back(static_cast<std::uint64_t>(value), order);
                info->valuesBefore.push_back(info->values.size());
            } else {
                info->values.push_back(static_cast<double>(value));
            }
        }
    };
    std::vector<std::pair<std::uint64_t, std::memory_order>> words;
    std::vector<std::size_t> valuesBefore; ///< per word: how many values stood before it
    std::vector<double> values;
    Word word{this}, timeUs{this}, cameraTicks{this}, frameCounter{this}, frameBytes{this},
        gainDb{this}, exposureUs{this}, captureTimeNs{this}, cameraFrameNumber{this};
};

TEST(FrameMemory, AFramesValuesStandBeforeItsWordSaysSo)
{
    WatchedInfo info;
    PublishFrame(info, {9, 1, 2, {3, 70'000, 5, 6, 7, 8}});
    EXPECT_THAT(info.words,
                ElementsAre(std::pair(PackFrameWord(8, kFrameFilling), std::memory_order_relaxed),
                            std::pair(PackFrameWord(9, kFrameHeld), std::memory_order_release)));
    EXPECT_THAT(info.valuesBefore, ElementsAre(0, 8));
    EXPECT_THAT(info.values, testing::UnorderedElementsAre(1, 2, 3, 70'000, 5, 6, 7, 8));
}

/*  Four buffers, one spare frame. Arriving   1 2 3 4 5        f filling, r released, h held
 *  buffer 0                                  h r f f h ...
 *  buffer 1                                    h r f f                                          */
TEST(FrameMemory, BuffersAreMarkedOneFrameBeforeTheCameraComesBackToThem)
{
    Memory memory(100, 4);
    const Consumer consumer;
    ASSERT_EQ(consumer.Header().spareFrames, 1U);
    EXPECT_EQ(consumer.State(0), kFrameFilling) << "held no frame yet";
    memory.Arrive();
    EXPECT_EQ(consumer.State(0), kFrameHeld);
    memory.Release();
    EXPECT_EQ(consumer.State(0), kFrameReleased);
    EXPECT_EQ(memory.HeldImage(), nullptr);
    memory.Arrive(); // frame 3 is on its way now, then 4, then 5 into buffer 0
    EXPECT_EQ(consumer.State(0), kFrameReleased);
    memory.CountRound(); // a missed frame may have taken buffer 2
    EXPECT_EQ(consumer.State(0), kFrameFilling);
    EXPECT_EQ(consumer.State(1), kFrameReleased) << "given back at the latest here";
    memory.CountRound();
    EXPECT_EQ(consumer.State(1), kFrameFilling);
}

TEST(FrameMemory, TwoBuffersAreReadableOnlyWhileHeld)
{
    Memory memory(100, 2);
    const Consumer consumer;
    const std::uint32_t index = memory.Arrive();
    EXPECT_EQ(consumer.State(index), kFrameHeld);
    memory.Trigger(0, 1, memory.BufPtr(1 - index), 0, {}); // without a round: the first is dropped
    EXPECT_EQ(consumer.State(index), kFrameFilling);
    EXPECT_EQ(consumer.State(1 - index), kFrameHeld);
}

TEST(FrameMemory, ResizeRaisesTheGenerationAndKeepsOldMappingsAccessible)
{
    Memory memory(10000, 4);
    memory.SetActFsize(10000);
    const Consumer early;
    memory.Arrive();
    void* first = memory.BufPtr(0);
    std::uint64_t generation = memory.Generation();

    ASSERT_TRUE(memory.Init(10000, 4));
    EXPECT_EQ(memory.Generation(), generation) << "the next session, nothing changed";
    EXPECT_EQ(memory.BufPtr(0), first);
    EXPECT_EQ(memory.HeldImage(), nullptr);
    EXPECT_EQ(early.State(0), kFrameFilling);
    EXPECT_EQ(early.Header().newestIndex, kNoBuffer);

    for (const auto& [bytes, count] : {std::pair(10000U, 8U), {200000U, 8U}, {50U, 2U}}) {
        ASSERT_TRUE(memory.Init(bytes, count)) << memory.Error();
        EXPECT_EQ(memory.Generation(), early.Header().generation);
        EXPECT_EQ(memory.Generation() % 2, 0U);
        EXPECT_GT(memory.Generation(), generation);
        generation = memory.Generation();
        std::memset(memory.BufPtr(count - 1), 7, bytes);
        const Consumer late;
        EXPECT_EQ(late.Pixels(count - 1)[bytes - 1], 7);
        EXPECT_EQ(late.Header().stride, memory.Stride());
        EXPECT_GE(late.ReservedBytes(), late.Bytes());
        EXPECT_GE(late.Bytes(), early.Bytes()) << "an early mapping stays readable";
    }
    memory.Describe(5, 10, 1, "MONO8T");
    EXPECT_GT(memory.Generation(), generation);
}

TEST(FrameMemory, RoomThatIsNotThereIsAnErrorAndLeavesNoBuffers)
{
    Memory memory(100, 4);
    EXPECT_FALSE(memory.Init(0xFFFFFFFF, 65536));
    EXPECT_THAT(memory.Error(), HasSubstr("There is no room in shared memory for 65536"));
    EXPECT_EQ(memory.BufPtr(0), nullptr);
    EXPECT_FALSE(memory.Init(100, 0));
    EXPECT_TRUE(memory.Init(100, 4)) << "the next session gets its buffers again";
    EXPECT_NE(memory.BufPtr(3), nullptr);
    memory.DropBuffers();
    EXPECT_EQ(memory.BufPtr(0), nullptr);
}

TEST(FrameMemory, BadNamesAndForeignObjectsAreRefused)
{
    FrameMemory memory;
    for (const char* name : {"", "/", "kvgrab", "/a/b", "/..", "/a.consumers"}) {
        EXPECT_FALSE(memory.Open(name)) << name;
    }
    std::ofstream("/dev/shm" + OwnMemoryName()) << "something else altogether";
    EXPECT_FALSE(memory.Open(OwnMemoryName()));
    EXPECT_THAT(memory.Error(), HasSubstr("is not a frame memory"));
    EXPECT_TRUE(Exists(OwnMemoryName()));
    shm_unlink(OwnMemoryName().c_str());
}

TEST(FrameMemory, EveryExitRemovesTheNameButNotARivals)
{
    const std::string name = OwnMemoryName();
    {
        Memory memory(100, 4);
        const Consumer consumer;
        const pid_t child = fork();
        if (child == 0) {
            memory.UnlinkNow(); // what a child inherited is not its own
            _exit(0);
        }
        waitpid(child, nullptr, 0);
        EXPECT_TRUE(Exists(name) && Exists(name + kConsumerBoardSuffix));
        EXPECT_EQ(consumer.Header().running, 1U);
        const std::uint32_t wake = consumer.Header().wake;
        memory.UnlinkNow();
        EXPECT_FALSE(Exists(name) || Exists(name + kConsumerBoardSuffix));
        EXPECT_EQ(consumer.Header().running, 0U);
        EXPECT_GT(consumer.Header().wake, wake);
        // The name is free, so another host may have it while ours is on its way out.
        const Memory rival(100, 4);
        memory.Close();
        EXPECT_TRUE(Exists(name) && Exists(name + kConsumerBoardSuffix));
    }
    EXPECT_FALSE(Exists(name) || Exists(name + kConsumerBoardSuffix));
}

/** What a dead host left is replaced, and no mask takes the board away from the group. A consumer
 *  that cuts the board short harms nobody. */
TEST(FrameMemory, TheBoardIsForTheGroupAndWakesWhoWaits)
{
    std::ofstream("/dev/shm" + OwnMemoryName() + kConsumerBoardSuffix) << "of a dead host";
    const mode_t former = umask(077);
    Memory memory(100, 4);
    umask(former);
    Board board;
    EXPECT_EQ(board.Mode(), 0660U);
    EXPECT_EQ(board.Get().magic, kConsumerBoardMagic);
    const Consumer consumer;
    std::uint32_t wake = consumer.Header().wake;
    const auto rose = [&] { return std::exchange(wake, consumer.Header().wake) != wake; };
    memory.Describe(1, 1, 1, "MONO8T");
    EXPECT_TRUE(rose());
    memory.Arrive();
    EXPECT_TRUE(rose());
    board.Get().waiting = 1;
    memory.Arrive();
    EXPECT_EQ(board.Get().waiting, 0U) << "taken by the host, so the next frame wakes nobody";
    EXPECT_TRUE(rose());
    ASSERT_TRUE(board.Cut());
    memory.Arrive();
    EXPECT_TRUE(rose());
}

} // namespace
