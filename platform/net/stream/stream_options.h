/** How a camera's stream and control channel are run, as far as the network library lets us. */
#pragma once

#include "gev_api.h"
#include "net/control/device.h"

#include <string>

namespace net
{

/** Packet size, packet delay and heartbeat go to the camera at once; the frame time-out to the next
 *  transfer. The library fixes command time-out and retries, has no limit of frames or memory held
 *  back but the caller's buffers, and asks for lost packets again by its own rule: other values for
 *  those are kept, but change nothing, and the log says so once. */
class StreamOptions
{
public:
    /** Reads what the camera has. The device outlives this object. */
    explicit StreamOptions(Device& device);

    /** What couldn't be read of what every camera has; empty: nothing. */
    const std::string& Fault() const { return fault_; }
    const GEV_CAMERA_OPTIONS& Get() const { return options_; }
    /** kGevBadValue: refused whole. Raises TimeoutException when the camera is gone. */
    int Set(const GEV_CAMERA_OPTIONS& options);

private:
    std::uint32_t DelayTicks(std::uint32_t us) const;
    void TellWhatChangesNothing(const GEV_CAMERA_OPTIONS& options) const;

    Device& device_;
    std::uint64_t tickFrequency_ = 0; ///< Hz
    GEV_CAMERA_OPTIONS options_{};
    std::string fault_;
};

} // namespace net
