/** The simulated network: its cameras and its clock.
 *
 *  Threads: any. The network's lock guards only the list of cameras and is never held during a
 *  camera's work. */
#pragma once

#include "injection/effects.h"
#include "sim/camera/camera_model.h"
#include "sim/network_clock.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace sim
{

class Network : public injection::Effects
{
public:
    using Cameras = std::vector<std::shared_ptr<CameraModel>>;

    /** Created at the first call, which also registers it to carry out the effects of faults on
     *  camera calls. */
    static Network& Get();

    NetworkClock& Time() { return clock_; }
    Cameras All() const;
    /** Null when there is no such camera. */
    std::shared_ptr<CameraModel> Find(const std::string& serial) const;
    /** False when the serial is taken. `image` is the scene in front of the camera; null: a test
     *  pattern. `recording`: it is played back instead. */
    bool Add(const CameraSetup& setup, std::shared_ptr<const LightImage> image,
             std::shared_ptr<const Recording> recording = nullptr);
    /** Cameras that are open leave the network, but live on until they are closed. */
    void RemoveAll();
    /** Schedules a fault for a point in time, also for cameras that are added later. */
    void Schedule(const Fault& fault);
    void ForgetScheduled();

    // injection::Effects
    void SleepNs(std::int64_t ns) override { clock_.SleepNs(ns); }
    void DetachCamera(const char* serial, std::int64_t forNs) override;

private:
    Network() = default;
    struct Scheduled {
        Fault fault;
        std::int64_t atNs;
    };
    static void Apply(const Scheduled& scheduled, CameraModel* camera);

    NetworkClock clock_; // outlives all cameras, open ones too: the network is never destroyed
    mutable std::mutex mutex_;
    Cameras cameras_;
    std::vector<Scheduled> scheduled_;
};

} // namespace sim
