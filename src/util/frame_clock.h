/** Time stamps of frames and their pacing, for one run of the grab loop.
 *
 *  Two modes, chosen by the drift correction `tsAdjNs`:
 *  - REGULAR (0): a frame's stamp is the host time at which the frame before arrived plus a period.
 *  - REFCAMTS (anything else): it follows the camera's own stamps, moved to host time by an offset
 *    and corrected for drift by so many nanoseconds per second.
 *
 *  One frame goes through the clock in this order:
 *
 *      first frame   First ──────────────────────────────────► Next (REGULAR only) ─► Released
 *      later frames  Arrived ─► [trigger, export] ─► CheckPace ─► Next ─────────────► Released
 *
 *  Arrived may move the offset (camera stamps went back; REFCAMTS has no stamp yet). CheckPace
 *  compares the frame's lag behind its stamp with the lag of the first frame, counts frames that
 *  are early, late and very late, and moves the offset when one kind has lasted three seconds (very
 *  late: one). Next makes the stamp of the frame to come.
 *
 *  Microseconds throughout, 64-bit unsigned with wrap-around unless a type says otherwise; times of
 *  day are since the epoch. Prints nothing and asks no clock: times go in, events come out. */
#pragma once

#include <cstdint>

namespace KvTd
{

/** One good frame and the settings in force for it. */
struct FrameTimes {
    std::uint64_t hostGotUs = 0; ///< host time at which the wait returned with it
    std::uint64_t camTsUs = 0;   ///< its camera time stamp
    std::uint64_t firstTsUs =
        0; ///< first frame only: the same, or from the stamp's halves where the stamp is 0
    float fps = 0;
    std::uint32_t framePeriodUs = 0;
    std::uint32_t latencyUs = 0;
    std::int32_t exposureUs = 0;
    std::int32_t tsAdjNs = 0; ///< ns per second; 0 is REGULAR mode
};

class FrameClock
{
public:
    FrameClock(std::uint64_t loopStartUs, std::uint32_t framePeriodUs);

    struct InitTimings {
        std::int32_t startLatencyUs;
        std::uint64_t tsDiffAdjUs;
        std::uint64_t diffCheckUs;
    };
    /** The run's first good frame; `roundsBefore`: rounds of the loop before this one. */
    InitTimings First(const FrameTimes& frame, std::uint32_t roundsBefore);

    struct Arrival {
        bool wrapped; ///< the camera's stamps went back, from `prevCamTsUs`
        std::uint64_t prevCamTsUs;
        bool initTrigger; ///< REFCAMTS: the stamp was set again; the next four are the values
                          ///< before and after
        std::uint64_t oldDiffUs;
        std::uint64_t newDiffUs;
        std::uint64_t oldFrameTsUs;
        std::uint64_t newFrameTsUs;
    };
    /** Every later good frame, before it is triggered. `second`: it is the run's second. */
    Arrival Arrived(const FrameTimes& frame, bool second);

    struct Pace {
        std::uint64_t lagUs;
        bool fast; ///< re-anchored: early for too long, with the limit that the lag fell below
        std::uint64_t fastLimitUs;
        bool slow; ///< re-anchored: late for too long, with the limit that the lag reached
        std::uint64_t slowLimitUs;
        bool extraSlow; ///< re-anchored: very late for too long
        std::uint64_t extraSlowLimitUs;
    };
    Pace CheckPace(const FrameTimes& frame);

    struct Next {
        bool overflow; ///< REFCAMTS: the drift correction was out of bounds; its base was moved
        std::int32_t adjUs;
    };
    /** Makes frameTsUs() the stamp of the frame to come. */
    Next NextFrame(const FrameTimes& frame);

    /** The frame goes back to the camera. */
    void Released(const FrameTimes& frame) { prevCamTsUs_ = frame.camTsUs; }

    /** Stamp of the frame at hand from Arrived on, of the next one after NextFrame; 0 before. */
    std::uint64_t frameTsUs() const { return frameTsUs_; }
    std::uint32_t measuredPeriodUs() const { return measuredPeriodUs_; }

private:
    std::uint64_t predicted(const FrameTimes& frame) const;
    void anchor(const FrameTimes& frame, std::uint64_t refTimeUs);
    void readjust(const FrameTimes& frame);

    const std::uint64_t loopStartUs_;
    std::uint64_t prevCamTsUs_ = 0;
    std::uint64_t tsDiffAdjUs_ = 0; ///< from camera time to host time
    std::uint64_t diffCheckUs_ = 0; ///< lag to expect of the arrival behind the stamp
    std::uint64_t refTimeUs_ = 0;   ///< base of the drift correction
    std::uint64_t frameTsUs_ = 0;
    std::uint32_t measuredPeriodUs_; ///< camera time between consecutive frames
    std::int32_t startLatencyUs_ = 0;
    struct Counters { // of consecutive frames
        std::uint32_t fastCnt = 0;
        std::uint32_t slowCnt = 0;
        std::uint32_t extraSlowCnt = 0;
    };
    Counters counters_;
};

} // namespace KvTd
