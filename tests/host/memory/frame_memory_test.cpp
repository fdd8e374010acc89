#include "memory/frame_memory.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kvgrab
{
namespace
{

using namespace KvFrames;
using ::testing::HasSubstr;

/** A name of this process's own, so that tests run beside each other and beside a real host. */
std::string OwnName()
{
    return "/kvgrab-test-" + std::to_string(getpid());
}

bool Exists(const std::string& name)
{
    const int fd = shm_open(name.c_str(), O_RDONLY, 0);
    if (fd >= 0) {
        close(fd);
    }
    return fd >= 0;
}

/** The memory as another process maps it. */
class Consumer
{
public:
    explicit Consumer(const std::string& name)
    {
        fd_ = shm_open(name.c_str(), O_RDONLY, 0);
        struct stat status = {};
        fstat(fd_, &status);
        bytes_ = static_cast<std::size_t>(status.st_size);
        base_ = static_cast<const std::byte*>(mmap(nullptr, bytes_, PROT_READ, MAP_SHARED, fd_, 0));
    }
    ~Consumer()
    {
        munmap(const_cast<std::byte*>(base_), bytes_);
        close(fd_);
    }
    Consumer(const Consumer&) = delete;
    Consumer& operator=(const Consumer&) = delete;

    const FrameMemoryHeader& Header() const
    {
        return *reinterpret_cast<const FrameMemoryHeader*>(base_);
    }
    const FrameBufferInfo& Info(std::uint32_t index) const
    {
        return reinterpret_cast<const FrameBufferInfo*>(base_ + sizeof(FrameMemoryHeader))[index];
    }
    const std::uint8_t* Pixels(std::uint32_t index) const
    {
        return reinterpret_cast<const std::uint8_t*>(base_) + Header().pixelOffset +
               index * Header().stride;
    }
    bool HasOwner() const
    {
        struct flock lock = {};
        lock.l_type = F_RDLCK;
        lock.l_whence = SEEK_SET;
        return fcntl(fd_, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
    }
    std::size_t Bytes() const { return bytes_; }

private:
    int fd_ = -1;
    std::size_t bytes_ = 0;
    const std::byte* base_ = nullptr;
};

/** A transfer that fills the buffers one after the other, and the grab loop's calls. */
class Cycle
{
public:
    explicit Cycle(FrameMemory* memory) : memory_(memory) {}
    /** One good frame: arrives, is triggered, exported and given back. */
    std::uint32_t Frame()
    {
        const std::uint32_t index = Trigger();
        memory_->Release();
        return index;
    }
    std::uint32_t Trigger()
    {
        const std::uint32_t index = next_++ % memory_->BufferCount();
        memory_->CountRound();
        EXPECT_EQ(memory_->Trigger(0, 1000 + next_, memory_->BufPtr(index), 0, {}), 0);
        return index;
    }

private:
    FrameMemory* memory_;
    std::uint32_t next_ = 0;
};

FrameState StateAt(const Consumer& consumer, std::uint32_t index)
{
    return StateOfFrame(consumer.Info(index).word);
}

TEST(FrameMemory, BuffersAreOneEvenPageAlignedBlockThatConsumersSee)
{
    FrameMemory memory;
    ASSERT_TRUE(memory.Open(OwnName())) << memory.Error();
    EXPECT_EQ(memory.BufPtr(0), nullptr);
    ASSERT_TRUE(memory.Init(5000, 70)) << memory.Error(); // 70 infos take more than a page
    memory.SetActFsize(4900);
    memory.Describe(70, 70, 1, "MONO8T");
    const Consumer consumer(OwnName());
    EXPECT_EQ(consumer.Header().magic, kFrameMemoryMagic);
    EXPECT_EQ(consumer.Header().bufferCount, 70U);
    EXPECT_EQ(consumer.Header().frameBytes, 4900U);
    EXPECT_STREQ(consumer.Header().codec, "MONO8T");
    EXPECT_EQ(memory.Stride(), 8192U);
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
    EXPECT_LE(consumer.Header().pixelOffset + 70 * memory.Stride(), consumer.Bytes());
}

TEST(FrameMemory, TriggerPublishesOnlyOurBuffers)
{
    FrameMemory memory;
    ASSERT_TRUE(memory.Open(OwnName()));
    ASSERT_TRUE(memory.Init(4096, 4));
    const Consumer consumer(OwnName());
    auto* second = static_cast<std::byte*>(memory.BufPtr(1));
    memory.CountRound();
    EXPECT_EQ(memory.Trigger(0, 1, second + 1, 0, {}), kTriggerNotOurs);
    EXPECT_EQ(memory.Trigger(0, 1, second + 3 * 4096, 0, {}), kTriggerNotOurs) << "one beyond";
    EXPECT_EQ(memory.Trigger(0, 1, second - 2 * 4096, 0, {}), kTriggerNotOurs) << "one before";
    EXPECT_EQ(memory.Trigger(2, 1, second, 0, {}), kTriggerNoInstance);
    EXPECT_EQ(memory.Trigger(1, 1, second, 0, {}), kTriggerNoInstance) << "not prepared";
    EXPECT_EQ(consumer.Header().newestSequence, 0U);

    EXPECT_EQ(memory.Trigger(0, 77, second, 0, {123, 5, 2.5F, 800}), kTriggerAccepted);
    EXPECT_EQ(memory.HeldImage(), second);
    EXPECT_EQ(consumer.Header().newestSequence, 1U);
    EXPECT_EQ(consumer.Header().newestIndex, 1U);
    EXPECT_EQ(consumer.Info(1).word, PackFrameWord(1, kFrameHeld));
    EXPECT_EQ(consumer.Info(1).timeUs, 77U);
    EXPECT_EQ(consumer.Info(1).cameraTicks, 123U);
    EXPECT_EQ(consumer.Info(1).frameCounter, 5U);
    EXPECT_EQ(consumer.Info(1).gainDb, 2.5F);

    EXPECT_FALSE(memory.InstanceInit(1, 4097)) << "the buffers are too small";
    ASSERT_TRUE(memory.InstanceInit(1, 4096));
    EXPECT_EQ(memory.Trigger(1, 78, memory.BufPtr(2), 0, {}), kTriggerAccepted);
    EXPECT_EQ(consumer.Header().instances[1].newestIndex, 2U);
    EXPECT_EQ(consumer.Header().newestIndex, 1U) << "converted frames are not the newest frame";

    memory.Announce(5000, 5, 800);
    EXPECT_EQ(consumer.Header().nextTimeUs, 5000U);
    EXPECT_EQ(consumer.Header().announcements % 2, 0U);
}

/*  Four buffers, one spare frame. Arriving   1 2 3 4 5        f filling, r released, h held
 *  buffer 0                                  h r f f h ...
 *  buffer 1                                    h r f f                                          */
TEST(FrameMemory, BuffersAreMarkedOneFrameBeforeTheCameraComesBackToThem)
{
    FrameMemory memory;
    ASSERT_TRUE(memory.Open(OwnName()));
    ASSERT_TRUE(memory.Init(100, 4));
    const Consumer consumer(OwnName());
    ASSERT_EQ(consumer.Header().spareFrames, 1U);
    Cycle cycle(&memory);
    EXPECT_EQ(StateAt(consumer, 0), kFrameFilling) << "held no frame yet";
    cycle.Trigger();
    EXPECT_EQ(StateAt(consumer, 0), kFrameHeld);
    memory.Release();
    EXPECT_EQ(StateAt(consumer, 0), kFrameReleased);
    EXPECT_EQ(memory.HeldImage(), nullptr);
    cycle.Trigger(); // frame 3 is on its way now, then 4, then 5 into buffer 0
    EXPECT_EQ(StateAt(consumer, 0), kFrameReleased);
    memory.CountRound(); // a missed frame may have taken buffer 2
    EXPECT_EQ(StateAt(consumer, 0), kFrameFilling);
    EXPECT_EQ(StateAt(consumer, 1), kFrameReleased) << "given back at the latest here";
    memory.CountRound();
    EXPECT_EQ(StateAt(consumer, 1), kFrameFilling);
}

TEST(FrameMemory, TwoBuffersAreReadableOnlyWhileHeld)
{
    FrameMemory memory;
    ASSERT_TRUE(memory.Open(OwnName()));
    ASSERT_TRUE(memory.Init(100, 2));
    const Consumer consumer(OwnName());
    Cycle cycle(&memory);
    const std::uint32_t index = cycle.Trigger();
    EXPECT_EQ(StateAt(consumer, index), kFrameHeld);
    memory.Release();
    EXPECT_EQ(StateAt(consumer, index), kFrameFilling);
}

/** The child copies a frame slowly, in step with the parent through two pipes. */
TEST(FrameMemory, ConsumerInAnotherProcessNoticesAnOverwrittenFrame)
{
    const std::string name = OwnName();
    FrameMemory memory;
    ASSERT_TRUE(memory.Open(name));
    ASSERT_TRUE(memory.Init(100, 4));
    Cycle cycle(&memory);
    const std::uint32_t index = cycle.Frame();
    std::memset(memory.BufPtr(index), 1, 100);
    int toParent[2];
    int toChild[2];
    ASSERT_EQ(pipe(toParent), 0);
    ASSERT_EQ(pipe(toChild), 0);
    const pid_t child = fork();
    if (child == 0) {
        const Consumer consumer(name);
        const FrameBufferInfo& info = consumer.Info(consumer.Header().newestIndex);
        char step = 0;
        int verdict = 0;
        for (const bool stillWhole : {true, false}) {
            const std::uint64_t before = info.word.load(std::memory_order_acquire);
            if (write(toParent[1], "r", 1) != 1 || read(toChild[0], &step, 1) != 1) {
                _exit(9);
            }
            verdict = verdict * 2 + (FrameStillWhole(info, before) == stillWhole ? 1 : 0);
        }
        _exit(verdict);
    }
    close(toParent[1]); // so that a dead child ends the waiting
    char step = 0;
    ASSERT_EQ(read(toParent[0], &step, 1), 1);
    cycle.Frame(); // harmless: another buffer
    ASSERT_EQ(write(toChild[1], "g", 1), 1);
    ASSERT_EQ(read(toParent[0], &step, 1), 1);
    for (int i = 0; i < 3; ++i) {
        cycle.Frame(); // once around: the buffer holds another frame
    }
    ASSERT_EQ(write(toChild[1], "g", 1), 1);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 3);
}

TEST(FrameMemory, ResizeRaisesTheGenerationAndKeepsOldMappingsAccessible)
{
    FrameMemory memory;
    ASSERT_TRUE(memory.Open(OwnName()));
    ASSERT_TRUE(memory.Init(10000, 4));
    memory.SetActFsize(10000);
    const Consumer early(OwnName());
    Cycle(&memory).Trigger();
    void* first = memory.BufPtr(0);
    std::uint64_t generation = memory.Generation();

    ASSERT_TRUE(memory.Init(10000, 4));
    EXPECT_EQ(memory.Generation(), generation) << "the next session, nothing changed";
    EXPECT_EQ(memory.BufPtr(0), first);
    EXPECT_EQ(memory.HeldImage(), nullptr);
    EXPECT_EQ(StateAt(early, 0), kFrameFilling);
    EXPECT_EQ(early.Header().newestIndex, kNoBuffer);

    for (const auto& [bytes, count] : {std::pair(10000U, 8U), {200000U, 8U}, {50U, 2U}}) {
        ASSERT_TRUE(memory.Init(bytes, count)) << memory.Error();
        EXPECT_EQ(memory.Generation(), early.Header().generation);
        EXPECT_EQ(memory.Generation() % 2, 0U);
        EXPECT_GT(memory.Generation(), generation);
        generation = memory.Generation();
        std::memset(memory.BufPtr(count - 1), 7, bytes);
        const Consumer late(OwnName());
        EXPECT_EQ(late.Pixels(count - 1)[bytes - 1], 7);
        EXPECT_EQ(late.Header().stride, memory.Stride());
    }
    // The memory was larger in between; reading all of the early mapping must not fault.
    const Consumer last(OwnName());
    EXPECT_GE(last.Bytes(), 8 * 200000U);
    memory.Describe(5, 10, 1, "MONO8T");
    EXPECT_GT(memory.Generation(), generation);
}

TEST(FrameMemory, RoomThatIsNotThereIsAnErrorAndLeavesNoBuffers)
{
    FrameMemory memory;
    ASSERT_TRUE(memory.Open(OwnName()));
    ASSERT_TRUE(memory.Init(100, 4));
    EXPECT_FALSE(memory.Init(0xFFFFFFFF, 65536));
    EXPECT_THAT(memory.Error(), HasSubstr("There is no room in shared memory for 65536"));
    EXPECT_EQ(memory.BufPtr(0), nullptr);
    EXPECT_FALSE(memory.Init(100, 0));
    EXPECT_TRUE(memory.Init(100, 4)) << "the next session gets its buffers again";
    EXPECT_NE(memory.BufPtr(3), nullptr);
}

TEST(FrameMemory, BadNamesAndForeignObjectsAreRefused)
{
    FrameMemory memory;
    for (const char* name : {"", "/", "kvgrab", "/a/b", "/.."}) {
        EXPECT_FALSE(memory.Open(name)) << name;
    }
    const int fd = shm_open(OwnName().c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
    ASSERT_EQ(write(fd, "something else altogether", 25), 25);
    close(fd);
    EXPECT_FALSE(memory.Open(OwnName()));
    EXPECT_THAT(memory.Error(), HasSubstr("is not a frame memory"));
    EXPECT_TRUE(Exists(OwnName()));
    shm_unlink(OwnName().c_str());
}

TEST(FrameMemory, LiveOwnerIsAnErrorAndADeadOnesObjectIsTakenOver)
{
    const std::string name = OwnName();
    int toParent[2];
    ASSERT_EQ(pipe(toParent), 0);
    const pid_t child = fork();
    if (child == 0) {
        FrameMemory memory;
        const bool ready = memory.Open(name) && memory.Init(100, 4);
        if (write(toParent[1], ready ? "y" : "n", 1) == 1) {
            pause();
        }
        _exit(1);
    }
    close(toParent[1]);
    char ready = 0;
    ASSERT_EQ(read(toParent[0], &ready, 1), 1);
    ASSERT_EQ(ready, 'y');
    const Consumer consumer(name);
    EXPECT_TRUE(consumer.HasOwner());
    FrameMemory memory;
    EXPECT_FALSE(memory.Open(name));
    EXPECT_THAT(memory.Error(), HasSubstr("running process " + std::to_string(child)));

    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_FALSE(consumer.HasOwner()) << "a consumer sees the death";
    EXPECT_TRUE(Exists(name));
    ASSERT_TRUE(memory.Open(name)) << memory.Error();
    EXPECT_EQ(consumer.Header().ownerPid, static_cast<std::uint64_t>(child)) << "untouched";
    EXPECT_EQ(Consumer(name).Header().ownerPid, static_cast<std::uint64_t>(getpid()));
}

TEST(FrameMemory, EveryExitRemovesTheNameButNotARivals)
{
    const std::string name = OwnName();
    {
        FrameMemory memory;
        ASSERT_TRUE(memory.Open(name));
        const Consumer consumer(name);
        const pid_t child = fork();
        if (child == 0) {
            memory.UnlinkNow(); // what a child inherited is not its own
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(Exists(name));
        EXPECT_EQ(consumer.Header().running, 1U);
        memory.UnlinkNow();
        EXPECT_FALSE(Exists(name));
        EXPECT_EQ(consumer.Header().running, 0U);
        // The name is free, so another host may have it while ours is on its way out.
        FrameMemory rival;
        ASSERT_TRUE(rival.Open(name));
        memory.Close();
        EXPECT_TRUE(Exists(name));
    }
    EXPECT_FALSE(Exists(name));
}

} // namespace
} // namespace kvgrab
