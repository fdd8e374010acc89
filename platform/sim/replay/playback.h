/** Plays a recording back: which frame comes next, and when.
 *
 *      folder      row 1     row 2              row 5            row 6
 *                  |         |                  |                |
 *      transfer    a lead    row 1     row 2    lost, lost       row 5    row 6   over
 *
 *  Each start of the transfer begins with a lead: the next frame, once more and a period earlier,
 *  since hosts use up the first frame of a transfer to start their clocks. Then the frames follow
 *  at the distances in time that they were recorded at, from where the transfer before stopped.
 *
 *  Threads: under the camera's lock. All times are nanoseconds of the network's clock. */
#pragma once

#include "sim/replay/recording.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace sim
{

class Playback
{
public:
    struct Manner {
        bool fast = false; ///< a frame comes as soon as it finds a buffer
        bool loop = false; ///< the first frame follows the last one
    };
    /** A frame as it is sent. */
    struct Step {
        std::size_t position = 0; ///< of its picture in the recording
        std::uint64_t number = 0;
        std::uint64_t ticks = 0;
        double gain = 1;
        double exposureUs = 0;
        std::uint64_t lostBefore = 0;
        bool last = false; ///< no other one follows, ever
    };

    Playback(std::shared_ptr<const Recording> recording, Manner manner);

    const Recording& Source() const { return *recording_; }
    bool IsFast() const { return manner_.fast; }
    /** The transfer starts. */
    void Start(std::int64_t nowNs);
    /** When the next frame is exposed; nothing at the end, and after a failure. */
    std::optional<std::int64_t> NextStartNs() const;
    /** The next frame. It starts at `startNs`, which is later than NextStartNs if the camera was
     *  away; then all that follow are later too. */
    Step Take(std::int64_t startNs);

    /** A picture can't be read: no further frame is sent. */
    void Fail(std::string why);
    const std::string& Failure() const { return failure_; }
    /** The frame that was the last one has been delivered, or was lost. */
    void LastIsGone() { over_ = true; }
    bool IsOver() const { return over_; }

private:
    std::int64_t TimeNs(std::size_t position) const; ///< since the first frame of the first round

    std::shared_ptr<const Recording> recording_;
    Manner manner_;
    std::size_t next_ = 0;
    bool lead_ = true;          ///< the next frame is a lead
    std::int64_t originNs_ = 0; ///< when the first frame of the first round would have come
    // What the rounds of a loop have added up to.
    std::int64_t roundNs_ = 0;
    std::uint64_t roundNumbers_ = 0;
    std::uint64_t roundTicks_ = 0;
    std::string failure_;
    bool over_ = false;
};

} // namespace sim
