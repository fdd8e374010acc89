/** The part of the stream that makes frames: it decides when the next exposure starts, collects the
 *  settings for the frame, and injects faults into it.
 *
 *  A frame is taken with the settings at the start of its exposure, and its time stamp is the tick
 *  counter at that moment. It arrives after exposure, read-out and transfer, with the jitter of the
 *  link, but never before it is read out and never before the previous frame.
 *
 *  Threads: under the camera's lock. All times are nanoseconds of the clock. */
#pragma once

#include "sim/camera/automatic_functions.h"
#include "sim/camera/chunks.h"
#include "sim/camera/frame_trigger.h"
#include "sim/camera/timing.h"
#include "sim/camera/tone.h"
#include "sim/picture/scene.h"
#include "sim/replay/playback.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>

namespace sim
{

class CameraModel;

/** One frame on its way from the sensor to the host. */
struct Frame {
    static constexpr std::uint32_t kNoBuffer = 0xFFFFFFFF;

    PictureJob job;
    std::uint64_t pixelBytes = 0;
    unsigned chunks = 0;
    ChunkValues values;
    std::uint32_t id =
        0; ///< counts from 1 after a start; of a recorded frame the end of its number
    std::uint64_t number = 0;
    std::uint64_t timestamp = 0;
    std::uint64_t timestampHalves = 0; ///< high and low; differ from timestamp only after a fault
    std::int64_t startNs = 0;
    std::int64_t arrivalNs = 0;
    std::uint64_t lostBefore =
        0;                    ///< recorded frames that never arrived, between the one before and
                              ///  this one
    std::size_t recorded = 0; ///< its position in the recording, while one is played back
    bool last = false;        ///< of a recording
    bool lost = false;
    bool incomplete = false;
    bool nullImage = false;
    bool nullFrame = false;
    std::uint32_t buffer = kNoBuffer;
};

class Sensor
{
public:
    static constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();
    static constexpr std::uint32_t kForEver = 0xFFFFFFFF;

    /** Camera and scene must outlive the sensor. `recording`: plays it back; null: takes pictures.
     */
    Sensor(CameraModel& camera, Scene& scene, std::shared_ptr<const Recording> recording);
    Sensor(const Sensor&) = delete;
    Sensor& operator=(const Sensor&) = delete;

    void Start(std::int64_t nowNs, std::uint32_t frames);
    void Stop() { running_ = false; }
    bool IsRunning() const { return running_; }
    bool IsOver() const { return !running_ || framesLeft_ == 0; }
    /** When the next exposure starts, as far as is known; kNever when no frame will come, or none
     *  before another trigger. */
    std::int64_t NextStartNs() const;
    /** Takes the frame whose exposure starts at NextStartNs. */
    Frame Expose();
    /** Null: the sensor takes pictures of the scene. */
    Playback* Replay() { return replay_ ? &*replay_ : nullptr; }

private:
    Frame ExposeRecorded();
    void Describe(Frame* frame);
    void InjectFaults(Frame* frame);

    CameraModel& camera_;
    Random random_;
    ToneMaker tone_;
    FrameTrigger trigger_;
    AutomaticFunctions automatic_;
    std::optional<Playback> replay_;
    bool running_ = false;
    std::uint32_t framesLeft_ = 0;
    std::int64_t freeNs_ = 0; // from then on the next exposure can start
    std::int64_t lastArrivalNs_ = 0;
    std::uint32_t nextId_ = 1;
    std::uint64_t exposed_ = 0; // frames since the camera's power-up
};

} // namespace sim
