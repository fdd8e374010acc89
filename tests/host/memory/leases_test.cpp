/** Frames that consumers hold: which buffers the transfer may fill, and which it gets back. */
#include "memory/frame_memory.h"
#include "tests/host/memory/consumer.h"

#include <gmock/gmock.h>
#include <optional>
#include <sstream>

namespace
{

using namespace kvgrab;
using namespace KvFrames;

/** A transfer that asks, as the grab loop goes on with each of its frames. Buffers, and frames in
 *  them, are numbered from 0 in the order in which they arrive. */
class Leasing : public testing::Test
{
protected:
    void Begin(std::uint32_t buffers)
    {
        ASSERT_TRUE(memory.Open(OwnMemoryName()) && memory.Init(100, buffers)) << memory.Error();
        consumer.emplace();
        board.emplace();
        for (std::uint32_t i = 0; i < buffers; ++i) {
            EXPECT_TRUE(memory.MayFill(memory.BufPtr(i), false)) << "never held a frame";
            Arrive(i);
        }
        EXPECT_EQ(consumer->Header().exact, 1U);
    }
    void Arrive(std::uint32_t buffer)
    {
        memory.CountRound();
        EXPECT_EQ(memory.Trigger(0, 1, memory.BufPtr(buffer), 0, {}), kTriggerAccepted);
        memory.Release();
    }
    /** "2 3!": buffer 2, and 3 as the last choice. The answers: "fill" or "keep", and the states
     *  of all buffers by then. */
    std::string Ask(const std::string& buffers)
    {
        std::istringstream words(buffers);
        std::string answers;
        for (std::string word; words >> word;) {
            void* const buffer = memory.BufPtr(static_cast<std::uint32_t>(std::stoul(word)));
            answers += memory.MayFill(buffer, word.back() == '!') ? "fill " : "keep ";
        }
        for (std::uint32_t i = 0; i < memory.BufferCount(); ++i) {
            answers += consumer->State(i) == kFrameFilling ? 'f' : 'r';
        }
        return answers;
    }

    FrameMemory memory;
    std::optional<Consumer> consumer;
    std::optional<Board> board;
};

struct Row {
    const char* rule;
    std::uint32_t buffers;
    std::uint64_t held; ///< buffers whose frames are held, a bit for each
    std::uint64_t dead; ///< those of them that nobody locks
    const char* asked;
    const char* answers;
    std::uint64_t takenBack;
};
constexpr Row kRows[] = {
    {"nobody holds anything", 5, 0, 0, "0 1", "fill fill ffrrr", 0},
    {"two of five can be held", 5, 0b00011, 0, "0 1 2", "keep keep fill rrfrr", 0},
    {"one too many: the oldest goes", 5, 0b01011, 0, "0 1 3", "fill keep keep frrrr", 1},
    {"whichever is asked for first", 5, 0b01011, 0, "3 1 0", "keep keep fill frrrr", 1},
    {"a dead consumer holds nothing", 5, 0b01011, 0b00010, "0 1 3", "keep fill keep rfrrr", 0},
    {"there is no other one", 5, 0b00011, 0, "1 1!", "keep fill rfrrr", 1},
    {"three buffers are needed", 3, 0b010, 0, "0 1", "fill fill ffr", 1},
};

TEST_F(Leasing, FramesAreKeptWhileThreeBuffersAreLeft)
{
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.rule);
        Begin(row.buffers);
        for (std::uint32_t i = 0; i < row.buffers; ++i) {
            if ((row.held >> i & 1) != 0) {
                board->Hold(i, FrameSequence(consumer->Info(i).word), (row.dead >> i & 1) == 0);
            }
        }
        EXPECT_EQ(Ask(row.asked), row.answers);
        EXPECT_EQ(memory.TakenBack(), row.takenBack);
    }
}

/** Whatever consumers write, no buffer is lost to the camera. */
TEST_F(Leasing, NonsenseOnTheBoardKeepsNothing)
{
    Begin(5);
    for (std::uint32_t i = 0; i < kLeases; ++i) {
        board->Hold(i, i % 7 == 0 ? FrameSequence(consumer->Info(1).word) : ~std::uint64_t{i},
                    true);
    }
    EXPECT_EQ(Ask("0 1 2"), "fill keep fill frfrr") << "one frame, however many hold it";
    EXPECT_EQ(Ask("1!"), "fill fffrr");
    ASSERT_TRUE(board->Cut());
    EXPECT_EQ(Ask("3"), "fill ffffr");
    EXPECT_FALSE(memory.BoardIsWhole());
}

/** The driver may give a buffer back before the host does, as in rounds without an export. */
TEST_F(Leasing, AMarkOutlastsALateRelease)
{
    Begin(5);
    memory.CountRound();
    EXPECT_TRUE(memory.MayFill(memory.BufPtr(0), false));
    memory.Trigger(0, 1, memory.BufPtr(0), 0, {});
    EXPECT_EQ(consumer->State(0), kFrameHeld);
    EXPECT_EQ(Ask("0"), "fill frrrr");
    memory.Release();
    EXPECT_EQ(consumer->State(0), kFrameFilling);
}

} // namespace
