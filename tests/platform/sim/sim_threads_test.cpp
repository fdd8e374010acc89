/** Two threads on one simulated camera: who waits for whom, and what cancellation does. */
#include "gev_host.h"
#include "tests/platform/sim/sim_session.h"

#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace
{

/** Stands still; whoever sleeps on it is held until the test lets go. */
class HeldClock : public sim::Clock
{
public:
    std::int64_t NowNs() override
    {
        const std::lock_guard lock(mutex_);
        return nowNs_;
    }
    void SleepUntilNs(std::int64_t whenNs) override
    {
        std::unique_lock lock(mutex_);
        ++sleepers_;
        changed_.notify_all();
        changed_.wait(lock, [&] { return nowNs_ >= whenNs; });
        --sleepers_;
    }
    void WaitForSleeper()
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return sleepers_ > 0; });
    }
    void Advance(std::int64_t ns)
    {
        const std::lock_guard lock(mutex_);
        nowNs_ += ns;
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::int64_t nowNs_ = 1'000'000'000;
    int sleepers_ = 0;
};

class SimThreads : public SimSession
{
protected:
    void SetUp() override
    {
        sim::SetClock(held);
        setup.linkMBytesPerSecond = 0;
        OpenCamera();
    }
    std::shared_ptr<HeldClock> held = std::make_shared<HeldClock>();
};

TEST_F(SimThreads, AWaitLetsOthersInEvenAbortAndFree)
{
    StartFor(2);
    int result = kGevOk;
    std::thread waiter([&] {
        _tag_GEVBUF_ENTRY* frame = nullptr;
        result = GevWaitForNextFrame(handle, &frame, 1000);
        EXPECT_EQ(frame, nullptr);
    });
    held->WaitForSleeper();
    Float("Gain")->SetValue(2); // would hang if the waiter held the camera
    EXPECT_EQ(GevAbortTransfer(handle), kGevOk);
    EXPECT_EQ(GevFreeTransfer(handle), kGevOk);
    memory.clear(); // nobody writes there any more
    held->Advance(5 * kMs);
    waiter.join();
    EXPECT_EQ(result, kGevNotReady);
}

TEST_F(SimThreads, ASoftwareTriggerReachesACallerThatWaits)
{
    Choose({{"TriggerMode", "On"}});
    StartFor(2);
    std::thread waiter([&] { EXPECT_NE(Next(1000), nullptr); });
    held->WaitForSleeper();
    GenApi::CCommandPtr(map->GetNode("TriggerSoftware"))->Execute();
    held->Advance(20 * kMs);
    waiter.join();
}

TEST_F(SimThreads, AnInterruptionEndsADelay)
{
    sim::AddFault({.trigger = sim::Trigger::Call,
                   .name = "GevGetCameraInterfaceOptions",
                   .effect = sim::Effect::Delay,
                   .value = 1'000'000 * kMs});
    GEV_CAMERA_OPTIONS options{};
    int result = kGevOk;
    std::thread delayed([&] { result = GevGetCameraInterfaceOptions(handle, &options); });
    held->WaitForSleeper();
    GevInterruptCameras(1);
    held->Advance(20 * kMs);
    delayed.join();
    EXPECT_EQ(result, kGevTimeout);
    GevInterruptCameras(0);
}

TEST_F(SimThreads, ASlowAccessHoldsOffCancellationButNotCameraInformation)
{
    struct Slow {
        GenApi::CFloatPtr gain;
        std::atomic<bool> returned{false};
    } slow{Float("Gain")};
    sim::AddFault({.trigger = sim::Trigger::Read,
                   .name = "Gain",
                   .effect = sim::Effect::Delay,
                   .value = 1000 * kMs});
    const auto body = [](void* argument) -> void* {
        auto* self = static_cast<Slow*>(argument);
        self->gain->GetValue(); // sleeps at a cancellation point
        self->returned = true;
        pthread_testcancel();
        return nullptr;
    };
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, nullptr, body, &slow), 0);
    held->WaitForSleeper();
    EXPECT_NE(GevGetCameraInfo(handle), nullptr); // would hang if it took the camera's lock
    sim::SetAttached("S1", false);
    EXPECT_EQ(GevGetCameraInfo(handle), nullptr);
    sim::SetAttached("S1", true);
    ASSERT_EQ(pthread_cancel(thread), 0);
    held->Advance(1000 * kMs);
    void* result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_TRUE(slow.returned);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_EQ(Float("Gain")->GetValue(), 1); // and the camera is free
}

TEST_F(SimThreads, AGrabbingAndAControllingThread)
{
    sim::SetClock(clock);
    StartFor(4);
    Choose({{"LineSelector", "Line3"}});
    std::atomic<bool> done{false};
    std::thread control([&] {
        while (!done) {
            Integer("outputLinePulseDelay")->SetValue(10);
            GevGetCameraInfo(handle);
            GEV_TRANSFER_STATISTICS counts;
            GevGetTransferStatistics(&counts);
        }
    });
    for (int i = 0; i < 500; ++i) {
        GrabFrames(1);
        Float("Gain")->GetValue();
    }
    done = true;
    control.join();
}

} // namespace
