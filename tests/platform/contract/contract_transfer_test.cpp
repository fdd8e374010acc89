/** Frames of any kind of camera: buffers, order, abort, what stays in the caller's hands. */
#include "tests/platform/contract/camera_under_test.h"

#include <algorithm>
#include <set>

namespace
{

using Transfer = Contract;

TEST_F(Transfer, FramesArriveInTheCallersMemory)
{
    StartFor(3);
    std::uint64_t before = 0;
    for (std::uint32_t i = 1; i <= 10; ++i) {
        _tag_GEVBUF_ENTRY* frame = Next();
        ASSERT_NE(frame, nullptr);
        EXPECT_EQ(status, kGevOk);
        EXPECT_EQ(frame->status, 0);
        EXPECT_EQ(frame->width, 64U);
        EXPECT_EQ(frame->height, 64U);
        EXPECT_EQ(frame->receivedBytes, 64U * 64);
        EXPECT_EQ(std::count(buffers.begin(), buffers.end(), frame->address), 1);
        EXPECT_GT(frame->timestamp, before);
        EXPECT_EQ(frame->timestamp,
                  std::uint64_t{frame->timestampHigh} << 32 | frame->timestampLow);
        EXPECT_EQ(frame->chunkData, nullptr);
        before = frame->timestamp;
        EXPECT_EQ(GevReleaseFrame(handle, frame), kGevOk);
        EXPECT_EQ(GevReleaseFrame(handle, frame), kGevInvalidArgument); // only once
    }
    GEV_TRANSFER_STATISTICS counts{};
    ASSERT_EQ(GevGetTransferStatistics(&counts), kGevOk);
    EXPECT_EQ(counts.framesReceived, 10U);
    GevCloseCamera(&handle);
    ASSERT_EQ(GevGetTransferStatistics(&counts), kGevOk); // also after the camera was closed
    EXPECT_EQ(counts.framesReceived, 10U);
}

TEST_F(Transfer, AnotherBufferEachTimeAndAnUnderrunWhenAllAreTaken)
{
    StartFor(3);
    std::set<void*> taken;
    _tag_GEVBUF_ENTRY* frames[3] = {};
    for (auto& frame : frames) {
        frame = Next();
        ASSERT_NE(frame, nullptr);
        taken.insert(frame->address);
    }
    EXPECT_EQ(taken.size(), 3U);
    const std::uint32_t lastId = frames[2]->frameId;
    EXPECT_EQ(Next(200), nullptr);
    EXPECT_EQ(status, kGevTimeout);
    GEV_TRANSFER_STATISTICS counts{};
    GevGetTransferStatistics(&counts);
    EXPECT_GT(counts.underruns, 5U);

    EXPECT_EQ(GevReleaseFrame(handle, frames[1]), kGevOk);
    void* released = frames[1]->address;
    _tag_GEVBUF_ENTRY* frame = Next();
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->address, released);
    EXPECT_GT(frame->frameId, lastId + 5);
}

TEST_F(Transfer, AFrameInTheCallersHandsSurvivesAbortAndStart)
{
    StartFor(2);
    _tag_GEVBUF_ENTRY* mine = Next();
    ASSERT_NE(mine, nullptr);
    auto* image = static_cast<std::uint8_t*>(mine->address);
    const _tag_GEVBUF_ENTRY record = *mine;
    std::fill_n(image, 64 * 64, std::uint8_t{0xAB});
    ASSERT_EQ(GevAbortTransfer(handle), kGevOk);
    EXPECT_EQ(Next(100), nullptr); // what was under way is dropped
    ASSERT_EQ(GevStartTransfer(handle, kForEver), kGevOk);
    for (int i = 0; i < 5; ++i) {
        _tag_GEVBUF_ENTRY* frame = Next();
        ASSERT_NE(frame, nullptr);
        EXPECT_NE(frame->address, image);
        GevReleaseFrame(handle, frame);
    }
    EXPECT_TRUE(std::all_of(image, image + 64 * 64, [](std::uint8_t b) { return b == 0xAB; }));
    EXPECT_EQ(mine->timestamp, record.timestamp);
    EXPECT_EQ(mine->frameId, record.frameId);
    EXPECT_EQ(GevReleaseFrame(handle, mine), kGevOk);
}

TEST_F(Transfer, FreeWorksWithFramesOut)
{
    StartFor(2);
    _tag_GEVBUF_ENTRY* frame = Next();
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(GevFreeTransfer(handle), kGevOk);
    EXPECT_EQ(GevReleaseFrame(handle, frame), kGevNotReady);
    StartFor(2);
    EXPECT_NE(Next(), nullptr);
}

TEST_F(Transfer, StartForAFewFramesGivesSoMany)
{
    ASSERT_EQ(Initialize(4), kGevOk);
    ASSERT_EQ(GevStartTransfer(handle, 3), kGevOk);
    for (int i = 0; i < 3; ++i) {
        _tag_GEVBUF_ENTRY* frame = Next();
        ASSERT_NE(frame, nullptr);
        GevReleaseFrame(handle, frame);
    }
    EXPECT_EQ(Next(300), nullptr);
    EXPECT_EQ(status, kGevTimeout);
    EXPECT_EQ(GevAbortTransfer(handle), kGevOk);
    EXPECT_EQ(GevStartTransfer(handle, 1), kGevOk);
    EXPECT_NE(Next(), nullptr);
}

TEST_F(Transfer, ABufferThatIsTooSmallIsNotOverrun)
{
    std::vector<std::uint8_t> guarded(1000 + 64, 0xEE);
    void* buffer = guarded.data();
    ASSERT_EQ(GevInitializeTransfer(handle, 1, 1000, 1, &buffer), kGevOk);
    ASSERT_EQ(GevStartTransfer(handle, kForEver), kGevOk);
    _tag_GEVBUF_ENTRY* frame = Next();
    ASSERT_NE(frame, nullptr); // incomplete frames are handed out and released like others
    EXPECT_EQ(status, kGevIncomplete);
    EXPECT_LE(frame->receivedBytes, 1000U);
    EXPECT_TRUE(std::all_of(guarded.begin() + 1000, guarded.end(),
                            [](std::uint8_t byte) { return byte == 0xEE; }));
    EXPECT_EQ(GevReleaseFrame(handle, frame), kGevOk);
}

} // namespace
