/** Frames of the cameras of any backend: buffers, order, abort, and unreleased frames. */
#include "gev_host.h"
#include "tests/platform/contract/camera_under_test.h"

#include <algorithm>
#include <atomic>
#include <gmock/gmock.h>

namespace
{

using testing::UnorderedElementsAre;

GEV_FRAME_FACTS Facts()
{
    GEV_FRAME_FACTS facts{};
    EXPECT_EQ(GevGetNewestFrame(&facts), kGevOk);
    return facts;
}

using Transfer = Contract;

TEST_F(Transfer, FramesArriveInTheCallersMemory)
{
    StartFor(3);
    std::uint64_t before = 0;
    std::uint64_t deliveriesBefore = 0;
    for (std::uint32_t i = 1; i <= 10; ++i) {
        _tag_GEVBUF_ENTRY& frame = Take();
        const GEV_FRAME_FACTS facts = Facts();
        EXPECT_EQ(facts.frameNumber, frame.frameNumber);
        EXPECT_EQ(facts.reception.fault, kGevNoFault);
        EXPECT_GE(facts.reception.packetsReceived, 3U);
        EXPECT_EQ(facts.reception.packetsMissing, 0U);
        EXPECT_EQ(facts.delivery, deliveriesBefore == 0 ? facts.delivery : deliveriesBefore + 1);
        deliveriesBefore = facts.delivery;
        EXPECT_EQ(status, kGevOk);
        EXPECT_EQ(frame.status, 0);
        EXPECT_EQ(frame.width, 64U);
        EXPECT_EQ(frame.height, 64U);
        EXPECT_EQ(frame.receivedBytes, 64U * 64);
        EXPECT_EQ(std::count(buffers.begin(), buffers.end(), frame.address), 1);
        EXPECT_GT(frame.timestamp, before);
        EXPECT_EQ(frame.timestamp, std::uint64_t{frame.timestampHigh} << 32 | frame.timestampLow);
        EXPECT_EQ(frame.chunkData, nullptr);
        before = frame.timestamp;
        EXPECT_EQ(Release(frame), kGevOk);
        EXPECT_EQ(Release(frame), kGevInvalidArgument); // only once
    }
    EXPECT_EQ(Statistics().framesReceived, 10U);
    GevCloseCamera(&handle);
    EXPECT_EQ(Statistics().framesReceived, 10U); // also after the camera was closed
}

TEST_F(Transfer, AnotherBufferEachTimeAndAnUnderrunWhenAllAreTaken)
{
    StartFor(3);
    _tag_GEVBUF_ENTRY* frames[] = {&Take(), &Take(), &Take()};
    EXPECT_THAT(buffers,
                UnorderedElementsAre(frames[0]->address, frames[1]->address, frames[2]->address));
    const std::uint32_t lastId = frames[2]->frameId;
    for (int waits = 0; waits < 100 && Statistics().underruns <= 5; ++waits) {
        EXPECT_EQ(Next(200), nullptr);
        EXPECT_EQ(status, kGevTimeout);
    }
    EXPECT_GT(Statistics().underruns, 5U);

    void* released = frames[1]->address;
    EXPECT_EQ(Release(*frames[1]), kGevOk);
    const _tag_GEVBUF_ENTRY& next = Take();
    EXPECT_EQ(next.address, released);
    EXPECT_GT(next.frameId, lastId + 5);
    const GEV_FRAME_RECEPTION reception = Facts().reception;
    EXPECT_EQ(reception.framesLost + reception.framesWithoutBuffer, next.frameId - lastId - 1);
    EXPECT_GT(reception.framesWithoutBuffer, 5U);
}

/** Those that are kept are passed over while there are others, and filled if not. */
TEST_F(Transfer, TheHostIsAskedBeforeABufferIsFilled)
{
    if (!camera->AsksTheHost()) {
        GTEST_SKIP() << "the network library fills buffers by itself";
    }
    struct Host {
        std::atomic<void*> kept = nullptr;
        std::atomic<bool> keepsAll = false;
        std::atomic<int> lastChoices = 0;
    } host;
    const auto guard = [](void* context, void* buffer, int lastChoice) {
        Host& asked = *static_cast<Host*>(context);
        asked.lastChoices += lastChoice;
        return asked.keepsAll || buffer == asked.kept ? 0 : 1;
    };
    ASSERT_EQ(Initialize(3), kGevOk);
    host.kept = buffers[1];
    ASSERT_EQ(GevSetBufferGuard(guard, &host), kGevOk);
    ASSERT_EQ(GevStartTransfer(handle, kForEver), kGevOk);
    const auto grab = [this] {
        _tag_GEVBUF_ENTRY& frame = Take();
        EXPECT_EQ(Release(frame), kGevOk);
        return frame.address;
    };
    for (int i = 0; i < 6; ++i) {
        EXPECT_NE(grab(), buffers[1]);
    }
    host.keepsAll = true;
    for (int i = 0; i < 6; ++i) {
        grab();
    }
    EXPECT_GT(host.lastChoices, 0);
    GevSetBufferGuard(nullptr, nullptr);
}

TEST_F(Transfer, AFrameInTheCallersHandsSurvivesAbortAndStart)
{
    StartFor(2);
    _tag_GEVBUF_ENTRY& mine = Take();
    auto* image = static_cast<std::uint8_t*>(mine.address);
    const _tag_GEVBUF_ENTRY record = mine;
    ASSERT_NE(image, nullptr);
    std::fill_n(image, 64 * 64, std::uint8_t{0xAB});
    // The other buffer comes back into circulation, however often its frame is dropped.
    for (int start = 0; start < 5; ++start) {
        ASSERT_EQ(GevAbortTransfer(handle), kGevOk);
        EXPECT_EQ(Next(20), nullptr); // what was under way is dropped
        ASSERT_EQ(GevStartTransfer(handle, kForEver), kGevOk);
        for (int i = 0; i < 2; ++i) {
            _tag_GEVBUF_ENTRY& frame = Take();
            EXPECT_NE(frame.address, image);
            Release(frame);
        }
    }
    EXPECT_TRUE(std::all_of(image, image + 64 * 64, [](std::uint8_t b) { return b == 0xAB; }));
    EXPECT_EQ(mine.timestamp, record.timestamp);
    EXPECT_EQ(mine.frameId, record.frameId);
    EXPECT_EQ(Release(mine), kGevOk);
}

TEST_F(Transfer, FreeWorksWithFramesOut)
{
    StartFor(2);
    _tag_GEVBUF_ENTRY& frame = Take();
    EXPECT_EQ(GevFreeTransfer(handle), kGevOk);
    EXPECT_EQ(Release(frame), kGevNotReady);
    StartFor(2);
    GrabFrames(1);
}

/** More often than there are buffers: those of frames that nobody asked for are used again. */
TEST_F(Transfer, StartForAFewFramesGivesSoMany)
{
    ASSERT_EQ(Initialize(2), kGevOk);
    for (const int frames : {3, 1, 1}) {
        ASSERT_EQ(GevStartTransfer(handle, static_cast<std::uint32_t>(frames)), kGevOk);
        GrabFrames(frames);
        EXPECT_EQ(Next(100), nullptr);
        EXPECT_EQ(status, kGevTimeout);
        EXPECT_EQ(GevAbortTransfer(handle), kGevOk);
    }
}

TEST_F(Transfer, ABufferThatIsTooSmallIsNotOverrun)
{
    std::vector<std::uint8_t> guarded(1000 + 64, 0xEE);
    void* buffer = guarded.data();
    ASSERT_EQ(GevInitializeTransfer(handle, 1, 1000, 1, &buffer), kGevOk);
    ASSERT_EQ(GevStartTransfer(handle, kForEver), kGevOk);
    _tag_GEVBUF_ENTRY& frame = Take(); // incomplete frames are handed out and released like others
    EXPECT_EQ(status, kGevIncomplete);
    EXPECT_LE(frame.receivedBytes, 1000U);
    EXPECT_EQ(Facts().reception.fault, kGevBufferTooSmall);
    EXPECT_TRUE(std::all_of(guarded.begin() + 1000, guarded.end(),
                            [](std::uint8_t byte) { return byte == 0xEE; }));
    EXPECT_EQ(Release(frame), kGevOk);
}

} // namespace
