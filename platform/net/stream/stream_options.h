/** The options of a camera's stream and control channel, as far as they can be set. */
#pragma once

#include "gev_api.h"
#include "net/control/device.h"
#include "net/deferred_log.h"

#include <string>

namespace net
{

/** Packet size, packet delay and heartbeat take effect at once, the frame time-out and the number
 * of packets to request again with the next transfer. Command time-out and retries are fixed, and
 *  nothing limits buffered frames but the caller's buffers: other values of these options are kept
 *  but have no effect, and the log says so once. Where the library receives, it decides by itself
 *  what to request again. */
class StreamOptions
{
public:
    /** Reads what the camera has. The device outlives this object. */
    StreamOptions(Device& device, bool ownReceiver);

    /** Which of the values that every camera has couldn't be read, and why; empty: all were. */
    const std::string& Fault() const { return fault_; }
    const GEV_CAMERA_OPTIONS& Get() const { return options_; }
    /** kGevBadValue: refused whole. Raises TimeoutException when the camera is gone. */
    int Set(const GEV_CAMERA_OPTIONS& options, DeferredLog& log);

private:
    std::uint32_t DelayTicks(std::uint32_t us) const;
    void LogWithoutEffect(const GEV_CAMERA_OPTIONS& options, DeferredLog& log) const;

    Device& device_;
    const bool ownReceiver_;
    std::uint64_t tickFrequency_ = 0; ///< Hz
    GEV_CAMERA_OPTIONS options_{};
    std::string fault_;
};

} // namespace net
