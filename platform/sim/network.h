/** The simulated network: its cameras and its clock.
 *
 *  Threads: any. The network's lock is held only while the list is looked at, never while a
 *  camera does something. */
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

    /** Made when it is first asked for; from then on faults on camera calls have its effects. */
    static Network& Get();

    NetworkClock& Time() { return clock_; }
    Cameras All() const;
    /** Null when there is no such camera. */
    std::shared_ptr<CameraModel> Find(const std::string& serial) const;
    /** False: the serial is taken. `image` is what the camera looks at; null: a test pattern. */
    bool Add(const CameraSetup& setup, std::shared_ptr<const LightImage> image);
    /** Cameras that are held open stay with their holders, off the network. */
    void RemoveAll();
    /** A fault at a point in time, also for cameras that are added later. */
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

    NetworkClock clock_; // outlives the cameras below and those held open: never destroyed
    mutable std::mutex mutex_;
    Cameras cameras_;
    std::vector<Scheduled> scheduled_;
};

} // namespace sim
