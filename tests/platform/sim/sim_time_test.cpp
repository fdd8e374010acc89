/** The simulated camera and its clock: when frames come, what their ticks say. */
#include "tests/platform/sim/sim_session.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace
{

using SimTime = SimSession;

TEST_F(SimTime, AFrameArrivesWhenItIsExposedReadOutAndTransferred)
{
    setup.linkMBytesPerSecond = 4.096; // 64x64 bytes take a millisecond
    OpenCamera();
    StartFor(2);
    const auto* frame = Next();
    ASSERT_NE(frame, nullptr);
    constexpr std::int64_t kReadOutNs = 64 * 5000;
    EXPECT_EQ(clock->NowNs(), kStartNs + 1 * kMs + kReadOutNs + 1 * kMs);
    EXPECT_EQ(frame->timestamp, static_cast<std::uint64_t>(kStartNs)); // start of the exposure
    const auto* second = Next();
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->timestamp, static_cast<std::uint64_t>(kStartNs + 10 * kMs));
}

TEST_F(SimTime, AFrameTakesTheSettingsAtTheStartOfItsExposure)
{
    setup.linkMBytesPerSecond = 0;
    OpenCamera();
    Boolean("ChunkModeActive")->SetValue(true);
    Enumeration("ChunkSelector")->FromString("ExposureTime");
    Boolean("ChunkEnable")->SetValue(true);
    StartFor(4);
    clock->AdvanceNs(500'000); // the first exposure is under way
    Float("ExposureTime")->SetValue(3000);
    const auto exposure = [](const _tag_GEVBUF_ENTRY* frame) {
        double value = 0;
        std::memcpy(&value, frame->chunkData + 8, sizeof value);
        return value;
    };
    const auto* first = Next();
    const auto* second = Next();
    ASSERT_TRUE(first != nullptr && second != nullptr);
    EXPECT_EQ(first->chunkSize, 16U);
    EXPECT_EQ(exposure(first), 1000);
    EXPECT_EQ(exposure(second), 3000);
}

TEST_F(SimTime, TicksHaveOffsetDriftAndWrap)
{
    setup.tickFrequency = 125'000'000;
    setup.tickOffset = -1000;
    setup.driftPpm = 80;
    setup.tickBits = 32;
    OpenCamera();
    EXPECT_EQ(Integer("GevTimestampTickFrequency")->GetValue(), 125'000'000);
    StartFor(2);
    std::uint64_t before = 0;
    bool wrapped = false;
    for (int i = 0; i < 4000; ++i) {
        auto* frame = Next();
        ASSERT_NE(frame, nullptr);
        EXPECT_EQ(frame->timestampHigh, 0U);
        if (i > 0) { // 10 ms of the camera, whatever the clock thinks of them
            const std::uint64_t period = (frame->timestamp - before) & 0xFFFFFFFF;
            EXPECT_NEAR(static_cast<double>(period), 1'250'000, 1);
        }
        wrapped = wrapped || frame->timestamp < before;
        before = frame->timestamp;
        GevReleaseFrame(handle, frame);
    }
    EXPECT_TRUE(wrapped);
    const double seconds = static_cast<double>(clock->NowNs() - kStartNs) / 1e9;
    EXPECT_NEAR(seconds, 40 / (1 + 80e-6), 0.02);
}

TEST_F(SimTime, AZeroTickFrequencyIsReportedButTicksRun)
{
    setup.tickFrequency = 0;
    OpenCamera();
    EXPECT_EQ(Integer("GevTimestampTickFrequency")->GetValue(), 0);
    StartFor(1);
    const auto* frame = Next();
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->timestamp, static_cast<std::uint64_t>(kStartNs));
}

TEST_F(SimTime, JitterFollowsTheSeedAndNeverComesTooEarly)
{
    setup.jitterUs = 300;
    setup.linkMBytesPerSecond = 4.096;
    std::vector<std::int64_t> runs[2];
    for (auto& arrivals : runs) {
        sim::Reset();
        clock = std::make_shared<sim::ManualClock>(kStartNs);
        sim::SetClock(clock);
        OpenCamera();
        StartFor(2);
        for (int i = 0; i < 200; ++i) {
            auto* frame = Next();
            ASSERT_NE(frame, nullptr);
            arrivals.push_back(clock->NowNs() - static_cast<std::int64_t>(frame->timestamp));
            GevReleaseFrame(handle, frame);
        }
        GevApiUninitialize();
    }
    EXPECT_EQ(runs[0], runs[1]);
    const auto [least, most] = std::minmax_element(runs[0].begin(), runs[0].end());
    EXPECT_GE(*least, 1 * kMs + 64 * 5000);
    EXPECT_GT(*most - *least, 600'000); // some deviations apart
}

TEST_F(SimTime, AThousandSecondsPassFrameByFrame)
{
    OpenCamera();
    StartFor(4);
    const std::uint64_t framesBefore = sim::GetCounts().frames;
    std::uint32_t lastId = 0;
    while (clock->NowNs() < kStartNs + 1'000'000 * kMs) { // the last one is exposed at the end
        auto* frame = Next();
        ASSERT_NE(frame, nullptr);
        ASSERT_EQ(frame->frameId, lastId + 1);
        lastId = frame->frameId;
        GevReleaseFrame(handle, frame);
    }
    EXPECT_EQ(lastId, 100'001U);
    EXPECT_EQ(sim::GetCounts().frames - framesBefore, 100'001U);
}

TEST_F(SimTime, FramesThatNobodyTakesAreCountedAsUnderruns)
{
    OpenCamera();
    GEV_CAMERA_OPTIONS options{};
    GevGetCameraInterfaceOptions(handle, &options);
    options.streamFramesBuffered = 4;
    ASSERT_EQ(GevSetCameraInterfaceOptions(handle, &options), kGevOk);
    StartFor(8);
    clock->AdvanceNs(1005 * kMs); // a hundred frames, looked at late
    std::uint32_t delivered = 0;
    for (; Next(0) != nullptr; ++delivered) {
    }
    EXPECT_EQ(delivered, 4U); // the stream holds back no more, whatever the buffers
    GEV_TRANSFER_STATISTICS counts{};
    GevGetTransferStatistics(&counts);
    EXPECT_EQ(counts.framesReceived + counts.underruns, 101U);
}

TEST_F(SimTime, TheTemperatureMovesSlowly)
{
    OpenCamera();
    const auto temperature = Float("DeviceTemperature");
    const double first = temperature->GetValue();
    EXPECT_EQ(first, setup.temperatureC);
    clock->AdvanceNs(1000 * kMs);
    const double soon = temperature->GetValue();
    EXPECT_NE(soon, first);
    EXPECT_NEAR(soon, first, 0.02);
    clock->AdvanceNs(150'000 * kMs);
    EXPECT_GT(temperature->GetValue(), first + 0.5);
}

} // namespace
