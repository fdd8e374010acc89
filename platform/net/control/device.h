/** One opened network camera as the library sees it: its handle, the lock around each access, and
 *  whether the camera still answers. */
#pragma once

#include "core/interruption.h"
#include "gen_api.h"
#include "injection/node_faults.h"

#include <arv.h>

#include <atomic>
#include <fmt/format.h>
#include <mutex>
#include <string>

namespace net
{

class Device
{
public:
    /** Takes the reference over. */
    Device(ArvDevice* device, std::string serial) : device_(device), serial_(std::move(serial)) {}
    ~Device() { g_object_unref(device_); }
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    ArvDevice* Handle() const { return device_; }
    const std::string& Serial() const { return serial_; }

    /** Held around each access to the camera: the library is not thread-safe. Recursive, so that a
     *  selector and what it selects can be held together. */
    std::recursive_mutex& Mutex() const { return mutex_; }

    /** Set from the watching thread (presence.h). */
    void SetPresent(bool present) { present_.store(present, std::memory_order_release); }
    bool IsPresent() const { return present_.load(std::memory_order_acquire); }

    /** TimeoutException while the camera is gone, so that nobody sits through the library's own
     *  time-outs, which are seconds. */
    void RequirePresent(const char* feature) const
    {
        gevplat::Interruption::RequireNone(feature);
        if (!IsPresent()) {
            throw GenICam_3_0::TimeoutException(
                fmt::format("{}: camera {} does not answer", feature, serial_));
        }
    }

    /** For accesses to nodes, under the lock. May raise anything. */
    void InjectFaults(injection::AccessKind kind, const char* feature)
    {
        injection::InjectFaults(kind, feature, serial_.c_str(), effects_);
    }

private:
    ArvDevice* device_;
    std::string serial_;
    mutable std::recursive_mutex mutex_;
    std::atomic<bool> present_{true};
    injection::Effects effects_; ///< real time, and a camera that nobody can take away
};

} // namespace net
