#include "sim/camera/sensor.h"

#include "injection/faults.h"
#include "injection/record.h"
#include "sim/camera/camera_model.h"
#include "sim/picture/pixel_packing.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace sim
{

Sensor::Sensor(CameraModel& camera, Scene& scene, std::shared_ptr<const Recording> recording)
    : camera_(camera), random_(camera.Setup().seed),
      trigger_(camera.Features(), camera.Setup(), camera.Time().NowNs()),
      automatic_(camera.Features(), scene, camera.Setup().driftPpm)
{
    if (recording != nullptr) {
        replay_.emplace(std::move(recording), Playback::Manner{.fast = camera.Setup().replayFast,
                                                               .loop = camera.Setup().replayLoop});
    }
    camera.Features().trigger.onChange = [this] {
        const std::int64_t nowNs = camera_.Time().NowNs();
        trigger_.Reset(nowNs);
        freeNs_ = std::max(freeNs_, nowNs); // no frames for the time that it waited for a trigger
    };
    camera.Features().trigger.onSoftware = [this] {
        if (running_) {
            trigger_.Fire(camera_.Time().NowNs(), freeNs_);
        }
    };
}

void Sensor::Start(std::int64_t nowNs, std::uint32_t frames)
{
    running_ = true;
    framesLeft_ = frames;
    freeNs_ = nowNs;
    trigger_.Reset(nowNs);
    lastArrivalNs_ = nowNs;
    nextId_ = 1;
    if (replay_) {
        replay_->Start(nowNs);
    }
}

std::int64_t Sensor::NextStartNs() const
{
    if (!running_ || framesLeft_ == 0) {
        return kNever;
    }
    const auto whenBack = [this](std::int64_t ns) {
        return camera_.Attendance().WhenBackNs(ns); // an absent camera doesn't expose
    };
    if (replay_) {
        const std::optional<std::int64_t> startNs = replay_->NextStartNs();
        return startNs ? whenBack(replay_->IsFast() ? std::min(*startNs, freeNs_) : *startNs)
                       : kNever;
    }
    if (!trigger_.IsOn()) {
        return whenBack(freeNs_);
    }
    std::int64_t startNs = trigger_.NextStartNs(freeNs_);
    while (startNs != kNever && whenBack(startNs) != startNs) {
        const std::int64_t backNs = whenBack(startNs);
        startNs = backNs == kNever ? kNever : trigger_.NextStartNs(backNs);
    }
    return startNs;
}

void Sensor::Describe(Frame* frame)
{
    const CameraFeatures& features = camera_.Features();
    const CameraFeatures::Region region = features.FrameRegion();
    PictureJob& job = frame->job;
    job.sensorWidth = camera_.Setup().sensorWidth;
    job.sensorHeight = camera_.Setup().sensorHeight;
    job.offsetX = region.offsetX;
    job.offsetY = region.offsetY;
    job.width = region.width;
    job.height = region.height;
    job.pixelFormat = static_cast<std::uint32_t>(features.pixelFormat->Value());
    job.reverseX = features.reverseX->Value();
    job.reverseY = features.reverseY->Value();
    job.frameNumber = frame->id;
    job.exposureUs = features.exposureTime->Value();
    job.gain = features.gain->At(0) * features.gain->At(1);
    for (unsigned channel = 0; channel < kChannels && features.whiteBalance.ratio != nullptr;
         ++channel) {
        job.balance[channel] = features.whiteBalance.ratio->At(channel);
    }
    const bool wide = job.pixelFormat == kMono12 || job.pixelFormat == kMono12Packed;
    job.tone = features.tone.ActsOn(wide ? 12 : 8) ? tone_.Current(features.tone) : nullptr;
    job.noise = camera_.Setup().noise;
    job.noiseSeed = camera_.Setup().seed;
    frame->pixelBytes = features.PixelBytes();
    frame->chunks = features.ChunksOn();
    frame->values.gain = features.gain->At(0);
    frame->values.exposureUs = job.exposureUs;
}

/** The settings of a camera that plays a recording back change nothing in its frames. */
Frame Sensor::ExposeRecorded()
{
    Frame frame;
    frame.startNs = NextStartNs();
    const Playback::Step step = replay_->Take(frame.startNs);
    frame.number = step.number;
    frame.id = static_cast<std::uint32_t>(step.number);
    Describe(&frame);
    frame.recorded = step.position;
    frame.last = step.last;
    frame.lostBefore = step.lostBefore;
    frame.timestamp = step.ticks;
    frame.values.gain = step.gain;
    frame.values.exposureUs = step.exposureUs;
    frame.values.counter = exposed_++;
    framesLeft_ -= framesLeft_ == kForEver ? 0 : 1;
    const std::int64_t exposureNs = replay_->IsFast() ? 0 : ClockNs(step.exposureUs, 0);
    frame.arrivalNs = frame.startNs + exposureNs;
    InjectFaults(&frame);
    lastArrivalNs_ = std::max(lastArrivalNs_, frame.arrivalNs);
    frame.arrivalNs = lastArrivalNs_;
    return frame;
}

Frame Sensor::Expose()
{
    if (replay_) {
        return ExposeRecorded();
    }
    Frame frame;
    frame.startNs = NextStartNs();
    frame.id = nextId_++;
    frame.number = frame.id;
    Describe(&frame);
    automatic_.BeforeExposure(frame.startNs, &frame.job);
    frame.values.counter = exposed_++;
    framesLeft_ -= framesLeft_ == kForEver ? 0 : 1;

    const CameraSetup& setup = camera_.Setup();
    const FrameCost cost = camera_.Features().Cost();
    const auto clockNs = [&](double us) { return ClockNs(us, setup.driftPpm); };
    const std::int64_t readOutNs = frame.startNs + clockNs(cost.exposureUs + cost.readoutUs);
    camera_.Lines().Exposed(frame.id, frame.startNs, frame.startNs + clockNs(cost.exposureUs),
                            setup.driftPpm);
    const std::int64_t jitterNs =
        setup.jitterUs > 0 ? clockNs(setup.jitterUs * random_.Normal()) : 0;
    frame.arrivalNs = std::max(readOutNs, readOutNs + clockNs(cost.transferUs) + jitterNs);

    InjectFaults(&frame);
    lastArrivalNs_ = std::max(lastArrivalNs_, frame.arrivalNs);
    frame.arrivalNs = lastArrivalNs_;
    const double rate = std::max(kLowestRate, camera_.Features().frameRate->Value());
    // Without a trigger the next exposure overlaps with the read-out.
    const double busyUs = trigger_.IsOn() ? cost.exposureUs + cost.readoutUs : 0;
    const double periodUs = std::max({1e6 / rate, cost.ShortestPeriodUs(), busyUs});
    automatic_.AfterExposure(frame.job);
    freeNs_ = frame.startNs + std::max<std::int64_t>(clockNs(periodUs), 1);
    trigger_.Started(frame.startNs);
    return frame;
}

/** Called before the time stamp is taken, so that a jump of the tick counter shows in it. */
void Sensor::InjectFaults(Frame* frame)
{
    injection::Record& record = injection::Record::Get();
    record.CountFrame();
    const auto due = injection::FaultTable::Get().Due(Trigger::Frame, "", camera_.Setup().serial);
    for (const Fault& fault : due) {
        if (fault.effect == Effect::JumpTicks) {
            camera_.Ticks().Jump(frame->startNs, fault.value);
        }
    }
    if (!replay_) {
        frame->timestamp = camera_.Ticks().At(frame->startNs);
    }
    frame->values.timestamp = frame->timestamp;
    frame->timestampHalves = frame->timestamp;
    for (const Fault& fault : due) {
        record.Add("fault", fmt::format("frame {}", frame->id));
        switch (fault.effect) {
        case Effect::Lose:
            frame->lost = true;
            break;
        case Effect::Incomplete:
            frame->incomplete = true;
            break;
        case Effect::Delay:
            frame->arrivalNs += fault.value;
            break;
        case Effect::NullImage:
            frame->nullImage = true;
            break;
        case Effect::NullFrame:
            frame->nullFrame = true;
            break;
        case Effect::Timestamp:
            frame->timestamp = static_cast<std::uint64_t>(fault.value);
            frame->timestampHalves = frame->timestamp;
            break;
        case Effect::ZeroTimestamp:
            frame->timestamp = 0;
            break;
        case Effect::Detach:
            camera_.Detach(frame->startNs, fault.value);
            break;
        default:
            break;
        }
    }
}

} // namespace sim
