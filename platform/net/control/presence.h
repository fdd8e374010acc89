/** Watches whether a camera is still there and still under our control. */
#pragma once

#include "net/control/control_channel.h"
#include "net/control/device.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace net
{

/** Asks the camera ten times a second who controls it, in a thread of its own, unless an access is
 *  under way: a camera that is busy with one may answer nothing else. A camera that is switched
 * off, unplugged or frozen is marked as gone when it has been silent for longer than the patience,
 * one whose host says that nobody listens there at once; one that answers again is marked as
 * present if we still control it. Both are logged. The questions are the camera's heartbeat.
 *
 *  In between it reads the values that the camera changes by itself (value_cache.h). */
class Presence
{
public:
    /** The device outlives this object. */
    Presence(Device& device, std::shared_ptr<ControlChannel> channel);
    ~Presence();
    Presence(const Presence&) = delete;
    Presence& operator=(const Presence&) = delete;

private:
    void Watch();
    /** False: the end was asked for. */
    bool SleepUntil(std::chrono::steady_clock::time_point end);

    Device& device_;
    const std::shared_ptr<ControlChannel> channel_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::atomic<bool> ending_{false};
    std::thread thread_;
};

} // namespace net
