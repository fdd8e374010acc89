/** Capture times: the camera's time stamps on the host's clock. */
#pragma once

#include "report/clock_line.h"

#include <cstdint>

namespace kvgrab
{

enum class ClockSet { None, Host, Camera };

/** Maps the ticks of frames to the host's clock while they come. A capture time is later than the
 *  camera's stamp by the shortest delay of an arrival, which is the same for all frames.
 *
 *  Capture times rise as the ticks rise: no correction shortens the distance between two frames to
 *  less than half of that on the camera's clock. They may go back only when a clock was set, or for
 *  a frame that came too early for its time stamp and gets its arrival instead. A clock counts as
 *  set when two frames in a row came far too early, when all frames came far too late for 1.2
 *  seconds by both clocks, or when the ticks go back without having wrapped. Far is 0.05 ms early
 *  or 0.2 ms late, or more when arrivals scatter more. Ticks that wrap are continued.
 *
 *  Allocates nothing. */
class CaptureClock
{
public:
    /** Whether the clock of the arrivals may have been set. If it is steady, frames that come far
     *  too late are no sign of it: only one of ticks that were set back, by less than the time from
     *  frame to frame. Where the ticks don't tell, it takes a minute. */
    enum class Arrivals { OfAClockThatIsSet, OfASteadyClock };
    explicit CaptureClock(double nsPerTick, Arrivals arrivals = Arrivals::OfAClockThatIsSet)
        : nsPerTick_(nsPerTick), steady_(arrivals == Arrivals::OfASteadyClock)
    {
    }

    struct Reading {
        std::int64_t captureNs = 0; ///< since the epoch; 0: the stamp is that of the frame before
        ClockSet set = ClockSet::None;
        std::int64_t byNs = 0; ///< how far that clock was set, negative: back
    };
    /** Frames come in order. The first frame's capture time is its arrival. */
    Reading Frame(std::uint64_t ticks, std::int64_t arrivalNs);

private:
    struct Times {
        double cameraNs = 0; ///< since the first frame
        double hostNs = 0;
    };
    double Offset(const Times& frame) const { return frame.hostNs - movedNs_ - frame.cameraNs; }
    double Above(const Times& frame) const;
    double Far(const Times& frame, bool early) const;
    bool WasSetBack(Times* frame, Reading* reading);
    bool IsOutlier(const Times& frame, Reading* reading);
    void Move(double ns, const Times& frame);
    void Settle(const Times& frame);
    ClockSet WhichWasSet(const Times& frame) const;

    const double nsPerTick_;
    const bool steady_; ///< the clock of the arrivals
    ClockLine line_;
    std::uint64_t frames_ = 0;
    std::uint64_t firstTicks_ = 0;
    std::int64_t firstArrivalNs_ = 0;
    double continuedNs_ = 0; ///< the camera's steps back, so that its time goes on
    double movedNs_ = 0;     ///< sum of the other steps
    Times last_;
    double lastDistanceNs_ = 0; ///< of the two frames before, on the camera's clock
    double lastCaptureNs_ = 0;  ///< since the first arrival
    double typicalDelayNs_ = 50e3;
    double settleUntilNs_ = 0;

    /** Frames in a row that came far too early, or far too late. */
    struct Outliers {
        unsigned count = 0;
        Times from;
        double leastNs = 0; ///< above the line
        ClockSet set = ClockSet::None;
    };
    Outliers early_;
    Outliers late_;
};

} // namespace kvgrab
