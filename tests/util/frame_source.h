/** Feeds frames to a FrameClock as the grab loop does. */
#pragma once

#include "util/frame_clock.h"

namespace KvTd
{

/** A session at 10 fps whose first frame arrives 2000 us after the loop's start:
 *
 *      loop start        frame 1                     frame 2
 *      |── 2000 us ─────►|── 100 000 us ────────────►|
 *
 *  The start latency is 2000 and a frame's expected lag behind its stamp 1995, since 5 us of fixed
 *  latency are added to host times. */
class FrameSource
{
public:
    static constexpr std::uint64_t kLoopStart = 1'700'000'000'000'000;
    static constexpr std::uint32_t kPeriod = 100'000;
    static constexpr std::uint64_t kFirstLag = 2000;

    explicit FrameSource(std::int32_t tsAdjNs = 0, float fps = 10,
                         std::uint64_t firstLagUs = kFirstLag)
        : frame{kLoopStart + firstLagUs, 5'000'000, 5'000'000, fps, kPeriod, 5, 10'000, tsAdjNs},
          clock(kLoopStart, kPeriod), init(clock.First(frame, 0))
    {
        if (tsAdjNs == 0) {
            clock.NextFrame(frame);
        }
        clock.Released(frame);
    }

    struct Step {
        FrameClock::Arrival arrival;
        std::uint64_t stamp; ///< the frame's own, as it is exported
        FrameClock::Pace pace;
        FrameClock::Next next;
    };
    /** The next frame, so many microseconds of host and camera time after the one before. */
    Step After(std::uint64_t hostUs, std::uint64_t camUs)
    {
        frame.hostGotUs += hostUs;
        frame.camTsUs += camUs;
        ++number;
        Step step{};
        step.arrival = clock.Arrived(frame, number == 2);
        step.stamp = clock.frameTsUs();
        step.pace = clock.CheckPace(frame);
        step.next = clock.NextFrame(frame);
        clock.Released(frame);
        return step;
    }
    Step After(std::uint64_t us) { return After(us, us); }

    FrameTimes frame;
    FrameClock clock;
    FrameClock::InitTimings init; ///< of the first frame, which has gone through already
    int number = 1;
};

} // namespace KvTd
