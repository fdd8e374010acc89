/** Watches whether a camera is still there and still under our control. */
#pragma once

#include "net/control/device.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace net
{

/** Asks the camera ten times a second who controls it, over a socket of its own and in a thread of
 *  its own, so that no call that hangs can delay an answer. A camera that is switched off,
 *  unplugged or frozen is marked as gone within half a second, one whose process died at once; one
 *  that answers again is marked as present if we still control it. Both are logged. */
class Presence
{
public:
    /** `address` in host byte order. The device outlives this object. */
    Presence(Device& device, std::uint32_t address);
    ~Presence();
    Presence(const Presence&) = delete;
    Presence& operator=(const Presence&) = delete;

private:
    void Watch();
    /** False: the end was asked for. */
    bool Sleep(int ms);

    Device& device_;
    const std::uint32_t address_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool ending_ = false;
    std::thread thread_;
};

} // namespace net
