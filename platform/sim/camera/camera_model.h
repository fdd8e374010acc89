/** One camera of the simulated network. It lives as long as the network keeps it or somebody holds
 *  it open, and keeps its settings and its tick counter from session to session.
 *
 *  Threads: one recursive lock (Lock) around each access and call. Presence, Serial and the claim
 *  of control need none. */
#pragma once

#include "genapi/access_hook.h"
#include "injection/effects.h"
#include "sim/camera/camera_features.h"
#include "sim/camera/output_lines.h"
#include "sim/camera/presence.h"
#include "sim/camera/stream.h"
#include "sim/camera/timing.h"
#include "sim/network_clock.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

namespace sim
{

class CameraModel : public genapi::AccessHook, public injection::Effects
{
public:
    /** `image` is what the camera looks at; null: a test pattern. */
    CameraModel(CameraSetup setup, const NetworkClock& clock,
                std::shared_ptr<const LightImage> image = nullptr);
    ~CameraModel() override;

    const CameraSetup& Setup() const { return setup_; }
    const NetworkClock& Time() const { return clock_; }
    GEV_DEVICE_INFO Info() const;

    // Beside the lock.
    bool IsPresent() const { return presence_.At(clock_.NowNs()); }
    void Detach(std::int64_t fromNs, std::int64_t forNs);
    void SetAttached(bool attached);
    /** Takes back what was scripted for a time to come. */
    void ForgetScripted();
    /** False: another client has control. */
    bool TakeControl() { return !controlled_.exchange(true); }
    void GiveControlBack() { controlled_.store(false); }

    // Under the lock.
    CameraFeatures& Features() { return features_; }
    OutputLines& Lines() { return lines_; }
    Stream& Frames() { return stream_; }
    Presence& Attendance() { return presence_; }
    TickCounter& Ticks() { return ticks_; }
    std::recursive_mutex& Mutex() { return mutex_; }

    // AccessHook
    void Lock() override { mutex_.lock(); }
    void Unlock() override { mutex_.unlock(); }
    void Enter() override;
    void InjectFaults(injection::AccessKind kind, const char* feature) override;

    // injection::Effects, for faults on this camera's nodes. Under the lock.
    void SleepNs(std::int64_t ns) override { clock_.SleepNs(ns); }
    /** Raises TimeoutException, as the access does that it happens in. */
    void DetachCamera(const char* serial, std::int64_t forNs) override;

private:
    const CameraSetup setup_;
    const NetworkClock& clock_;
    std::recursive_mutex mutex_;
    Presence presence_;
    TickCounter ticks_;
    std::atomic<bool> controlled_{false};
    CameraFeatures features_; // asks the stream whether frames flow, but only once it stands
    OutputLines lines_;
    Stream stream_;
};

} // namespace sim
