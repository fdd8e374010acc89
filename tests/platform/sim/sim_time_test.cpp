/** The simulated camera and its clock: when frames come, and their time stamps. */
#include "tests/platform/sim/sim_session.h"

#include <algorithm>
#include <cmath>

namespace
{

class SimTime : public SimSession
{
protected:
    /** The frame's time stamp; the frame is given back. */
    std::uint64_t TakeStamp()
    {
        _tag_GEVBUF_ENTRY* frame = Next();
        EXPECT_EQ(GevReleaseFrame(handle, frame), kGevOk);
        return frame == nullptr ? 0 : frame->timestamp;
    }
};

TEST_F(SimTime, TicksHaveOffsetDriftAndWrap)
{
    setup.tickFrequency = 125'000'000;
    setup.tickOffset = -1000;
    setup.driftPpm = 80;
    setup.tickBits = 32;
    OpenCamera();
    EXPECT_EQ(Integer("GevTimestampTickFrequency")->GetValue(), 125'000'000);
    StartFor(2);
    std::uint64_t before = TakeStamp();
    bool wrapped = false;
    for (int i = 1; i < 4000; ++i) { // 10 ms of the camera, whatever the clock thinks of them
        const std::uint64_t stamp = TakeStamp();
        EXPECT_NEAR(static_cast<double>((stamp - before) & 0xFFFFFFFF), 1'250'000, 1);
        wrapped = wrapped || stamp < before;
        before = stamp;
    }
    EXPECT_TRUE(wrapped);
    EXPECT_EQ(before >> 32, 0U);
    const double seconds = static_cast<double>(clock->NowNs() - kStartNs) / 1e9;
    EXPECT_NEAR(seconds, 40 / (1 + 80e-6), 0.02);
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
            const auto stamp = static_cast<std::int64_t>(TakeStamp());
            arrivals.push_back(clock->NowNs() - stamp);
        }
        GevApiUninitialize();
    }
    EXPECT_EQ(runs[0], runs[1]);
    const auto [least, most] = std::minmax_element(runs[0].begin(), runs[0].end());
    EXPECT_GE(*least, 1 * kMs + 64 * 5000);
    EXPECT_GT(*most - *least, 600'000); // some deviations apart
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
    EXPECT_EQ(GevGetTransferStatistics(&counts), kGevOk);
    EXPECT_EQ(counts.framesReceived + counts.underruns, 101U);
}

} // namespace
