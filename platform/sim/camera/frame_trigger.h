/** The frame trigger: while TriggerMode is On, an exposure starts only when the source gives a
 *  trigger, TriggerDelay later.
 *
 *  A trigger for a time at which the sensor is still busy with a frame is ignored, and so is a
 *  software trigger while another one waits for its delay. Triggers before the transfer was started
 *  or before the last change of a trigger feature are forgotten.
 *
 *  Threads: under the camera's lock. All times are nanoseconds of the network's clock. */
#pragma once

#include "sim/camera/camera_features.h"
#include "sim/camera/input_pulses.h"

#include <cstdint>

namespace sim
{

class FrameTrigger
{
public:
    static constexpr std::int64_t kNever = InputPulses::kNever;

    /** Features and set-up belong to the camera, which is powered up at `powerUpNs`. */
    FrameTrigger(const CameraFeatures& features, const CameraSetup& setup, std::int64_t powerUpNs);

    bool IsOn() const { return features_.trigger.IsOn(); }
    /** Forgets all triggers before `nowNs`. */
    void Reset(std::int64_t nowNs);
    /** A software trigger; the sensor is free from `freeNs` on. */
    void Fire(std::int64_t nowNs, std::int64_t freeNs);
    /** When the next exposure starts, at `freeNs` or later; kNever as long as there is no trigger
     *  for it. */
    std::int64_t NextStartNs(std::int64_t freeNs) const;
    /** The exposure of NextStartNs has started. */
    void Started(std::int64_t startNs);

private:
    std::int64_t DelayNs() const;
    std::int64_t NextEdgeNs(std::int64_t fromNs) const;

    const CameraFeatures& features_;
    double driftPpm_;
    int pulsedLine_;
    InputPulses pulses_;
    std::int64_t fromNs_ = 0;          ///< edges before it are forgotten
    std::int64_t softwareNs_ = kNever; ///< start of the exposure of a software trigger
};

} // namespace sim
