/** One opened network camera as the library sees it: its handle, the lock around each access, and
 *  whether the camera still answers. */
#pragma once

#include "core/interruption.h"
#include "gen_api.h"
#include "injection/node_faults.h"
#include "net/control/control_channel.h"
#include "net/control/gvcp_device.h"
#include "net/control/session_end.h"
#include "net/nodes/value_cache.h"

#include <arv.h>

#include <atomic>
#include <fmt/format.h>
#include <memory>
#include <mutex>
#include <string>

namespace net
{

class Device
{
public:
    /** Takes the reference over. The channel is the device's own; null: it has none, and always
     *  answers. */
    Device(ArvDevice* device, std::string serial, std::shared_ptr<ControlChannel> channel = nullptr,
           std::shared_ptr<ValueCache> values = std::make_shared<ValueCache>())
        : device_(device), serial_(std::move(serial)), channel_(std::move(channel)),
          values_(std::move(values))
    {
        if (device_ != nullptr) {
            ReadThrough(device_, values_);
        }
    }
    ~Device()
    {
        if (channel_ == nullptr) {
            g_object_unref(device_);
        } else {
            CloseThrough(channel_, device_);
        }
    }
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    ArvDevice* Handle() const { return device_; }
    const std::string& Serial() const { return serial_; }

    /** Held around each access to the camera: the library is not thread-safe. Recursive, so that a
     *  selector and what it selects can be held together. */
    std::recursive_mutex& Mutex() const { return mutex_; }

    /** What is known of the values of its features. */
    ValueCache& Values() const { return *values_; }

    /** Set from the watching thread (presence.h). */
    void SetPresent(bool present) { present_.store(present, std::memory_order_release); }
    bool IsPresent() const { return present_.load(std::memory_order_acquire); }
    /** Whether an access would be answered, as far as is known: not if the last one wasn't,
     * although the camera still counts as present. */
    bool IsAnswering() const
    {
        return IsPresent() && (channel_ == nullptr || channel_->IsAnswering());
    }

    /** TimeoutException while accesses are interrupted or not answered, so that nobody sits through
     *  time-outs. What ends a session is sent all the same. */
    void RequirePresent(const char* feature) const
    {
        const bool abandoned = channel_ != nullptr && channel_->IsAbandoned();
        if (SessionEnd::IsUnderWay() && !abandoned) {
            return;
        }
        gevplat::Interruption::RequireNone(feature);
        if (!IsAnswering()) {
            throw GenICam_3_0::TimeoutException(
                fmt::format("{}: camera {} does not answer", feature, serial_));
        }
    }

    /** Hz of the time stamps; 0 and an error when it can't be read. Under the lock. The library's
     * own call goes past the control channel, and waits for seconds. */
    std::uint64_t TickFrequency(GError** error) const
    {
        guint32 high = 0;
        guint32 low = 0;
        const bool read = arv_device_read_register(device_, kTickFrequencyHigh, &high, error) &&
                          arv_device_read_register(device_, kTickFrequencyLow, &low, error);
        return read ? std::uint64_t{high} << 32 | low : 0;
    }

    /** For accesses to nodes. May raise anything. */
    void InjectFaults(injection::AccessKind kind, const char* feature)
    {
        injection::InjectFaults(kind, feature, serial_.c_str(), effects_);
    }

private:
    ArvDevice* device_;
    std::string serial_;
    std::shared_ptr<ControlChannel> channel_;
    /** Shared with the library's device, which may live longer. */
    std::shared_ptr<ValueCache> values_;
    mutable std::recursive_mutex mutex_;
    std::atomic<bool> present_{true};
    injection::Effects effects_; ///< real time, and a camera that nobody can take away
};

} // namespace net
