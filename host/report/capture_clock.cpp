#include "report/capture_clock.h"

#include "report/tick_wrap.h"

#include <algorithm>
#include <cmath>

namespace kvgrab
{

namespace
{

constexpr double kSettlingNs = 1e9;

} // namespace

CaptureClock::Reading CaptureClock::Frame(std::uint64_t ticks, std::int64_t arrivalNs)
{
    if (frames_ == 0) {
        frames_ = 1;
        firstTicks_ = ticks;
        firstArrivalNs_ = arrivalNs;
        line_.Add({0, 0});
        return {arrivalNs, ClockSet::None, 0};
    }
    const auto sinceFirst = static_cast<std::int64_t>(ticks - firstTicks_);
    Times frame = {static_cast<double>(sinceFirst) * nsPerTick_ + continuedNs_,
                   static_cast<double>(arrivalNs - firstArrivalNs_)};
    if (frame.cameraNs == last_.cameraNs) {
        return {};
    }
    ++frames_;
    Reading reading;
    if (!WasSetBack(&frame, &reading) && !IsOutlier(frame, &reading)) {
        Settle(frame);
        line_.Add({frame.cameraNs, Offset(frame)});
    }
    const double distanceNs = frame.cameraNs - last_.cameraNs;
    double captureNs = frame.cameraNs + movedNs_ + line_.OffsetAt(frame.cameraNs);
    if (early_.count != 0) {
        // Either a clock was set, which the next frame decides, or this time stamp is wrong.
        reading.captureNs = arrivalNs;
        return reading;
    }
    if (reading.set == ClockSet::None) {
        captureNs = std::max(captureNs, lastCaptureNs_ + distanceNs / 2);
    }
    lastDistanceNs_ = distanceNs;
    lastCaptureNs_ = captureNs;
    last_ = frame;
    reading.captureNs = firstArrivalNs_ + std::llround(captureNs);
    return reading;
}

/** How late a frame came, by the line. */
double CaptureClock::Above(const Times& frame) const
{
    return Offset(frame) - line_.OffsetAt(frame.cameraNs);
}

/** How far a frame is from the line when it is no longer explained by its delay; a short way below,
 *  since no delay is negative. */
double CaptureClock::Far(const Times& frame, bool early) const
{
    constexpr double kFarEarlyNs = 50e3;
    constexpr double kFarLateNs = 200e3;
    constexpr double kScatters = 8;
    constexpr double kTypicalDelays = 4;
    constexpr double kDrift = 5e-6; // that the line may have missed since the frame before
    const double far = early ? std::max(kFarEarlyNs, typicalDelayNs_)
                             : std::max(kFarLateNs, kTypicalDelays * typicalDelayNs_);
    return std::max(far, kScatters * line_.ScatterNs()) +
           kDrift * (frame.cameraNs - last_.cameraNs);
}

/** The camera's ticks went back. If they didn't wrap, the frame is put onto the line. */
bool CaptureClock::WasSetBack(Times* frame, Reading* reading)
{
    if (frame->cameraNs > last_.cameraNs) {
        return false;
    }
    const double backNs = last_.cameraNs - frame->cameraNs;
    const double wrapNs = WrapNs(backNs + frame->hostNs - last_.hostNs, nsPerTick_);
    if (wrapNs > backNs) {
        continuedNs_ += wrapNs;
        frame->cameraNs += wrapNs;
        return false;
    }
    const double distanceNs = std::max(frame->hostNs - last_.hostNs, 1.0);
    reading->set = ClockSet::Camera;
    reading->byNs = -std::llround(backNs + distanceNs);
    continuedNs_ += backNs + distanceNs;
    frame->cameraNs = last_.cameraNs + distanceNs;
    Move(Above(*frame), *frame);
    return true;
}

/** Far too early or too late. When enough frames have been, the line is moved to them. */
bool CaptureClock::IsOutlier(const Times& frame, Reading* reading)
{
    constexpr std::uint64_t kFramesToKnow = 32;
    constexpr double kNsToKnow = 2e9;
    constexpr unsigned kEarlyFrames = 2;
    constexpr unsigned kLateFrames = 6;
    constexpr double kLateNs = 1.2e9;
    constexpr double kLateWithoutASignNs = 60e9;
    constexpr double kAdapt = 0.03;
    const double above = Above(frame);
    const double far = Far(frame, above < 0);
    if (std::abs(above) <= far || frames_ <= kFramesToKnow || frame.cameraNs < kNsToKnow) {
        early_ = {};
        late_ = {};
        typicalDelayNs_ *= above > typicalDelayNs_ ? 1 + kAdapt : 1 - kAdapt;
        typicalDelayNs_ = std::max(typicalDelayNs_, 1000.0);
        return false;
    }
    (above < 0 ? late_ : early_) = {};
    Outliers& outliers = above < 0 ? early_ : late_;
    if (outliers.count++ == 0) {
        outliers = {1, frame, above, WhichWasSet(frame)};
    }
    outliers.leastNs = std::min(outliers.leastNs, above);
    // By both clocks: frames that waited while the host stood still come all at once.
    const double lastedNs =
        std::min(frame.cameraNs - outliers.from.cameraNs, frame.hostNs - outliers.from.hostNs);
    const bool busyHost = steady_ && outliers.set == ClockSet::Host;
    const double neededNs = busyHost ? kLateWithoutASignNs : kLateNs;
    const bool enough = above < 0 ? outliers.count >= kEarlyFrames
                                  : outliers.count >= kLateFrames && lastedNs >= neededNs;
    if (enough) {
        outliers.set = steady_ ? ClockSet::Camera : outliers.set;
        reading->set = outliers.set;
        const double byNs = outliers.set == ClockSet::Host ? outliers.leastNs : -outliers.leastNs;
        reading->byNs = std::llround(byNs);
        Move(outliers.leastNs, frame);
    }
    return true;
}

/** The distance that is unlike the one before shows which clock it was. */
ClockSet CaptureClock::WhichWasSet(const Times& frame) const
{
    const double cameraNs = frame.cameraNs - last_.cameraNs;
    const double hostNs = frame.hostNs - last_.hostNs;
    return std::abs(cameraNs - lastDistanceNs_) > std::abs(hostNs - lastDistanceNs_)
               ? ClockSet::Camera
               : ClockSet::Host;
}

/** Offsets are on the line again afterwards, so that it goes on as it is. */
void CaptureClock::Move(double ns, const Times& frame)
{
    movedNs_ += ns;
    settleUntilNs_ = frame.cameraNs + kSettlingNs;
    early_ = {};
    late_ = {};
}

/** The frames that showed a step were late themselves: soon after it, any frame that was delayed
 *  less moves the line. */
void CaptureClock::Settle(const Times& frame)
{
    const double above = Above(frame);
    if (frame.cameraNs < settleUntilNs_ && above < 0) {
        movedNs_ += above;
    }
}

} // namespace kvgrab
