/** One camera of the simulated network. It lives as long as it is on the network or a client has it
 *  open, and keeps its settings and its tick counter from session to session.
 *
 *  Threads: one recursive lock (Lock) around each access and call. Presence, Serial and taking
 *  control don't need it. */
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
    /** `image` is the scene in front of the camera; null: a test pattern. `recording`: it is played
     *  back instead; the set-up fits it. */
    CameraModel(CameraSetup setup, const NetworkClock& clock,
                std::shared_ptr<const LightImage> image = nullptr,
                std::shared_ptr<const Recording> recording = nullptr);
    ~CameraModel() override;

    const CameraSetup& Setup() const { return setup_; }
    const NetworkClock& Time() const { return clock_; }
    GEV_DEVICE_INFO Info() const;

    // Without the lock.
    bool IsPresent() const { return presence_.At(clock_.NowNs()); }
    void Detach(std::int64_t fromNs, std::int64_t forNs);
    void SetAttached(bool attached);
    /** Cancels all scripted events that lie in the future. */
    void ForgetScripted();
    /** False: another client has control. */
    bool TakeControl() { return !controlled_.exchange(true); }
    bool IsControlled() const { return controlled_.load(); }
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

    // injection::Effects, for faults on this camera's node accesses. Under the lock.
    void SleepNs(std::int64_t ns) override { clock_.SleepNs(ns); }
    /** Raises TimeoutException, because the node access that triggers it fails. */
    void DetachCamera(const char* serial, std::int64_t forNs) override;

private:
    const CameraSetup setup_;
    const NetworkClock& clock_;
    std::recursive_mutex mutex_;
    Presence presence_;
    TickCounter ticks_;
    std::atomic<bool> controlled_{false};
    CameraFeatures features_; // asks stream_, constructed later, whether frames flow
    OutputLines lines_;
    Stream stream_;
};

} // namespace sim
