/** Decides when a device session has to be ended early, by interrupting its camera.
 *
 *      asked to end (INT, TERM, QUIT) ─► the driver ends the session at the next frame by itself;
 *                                        when that takes longer than the grace: interrupt
 *                                        and when the driver doesn't even return then: leave
 *      grabbing, but no complete frame for the limit ─► interrupt
 *
 *  Pure; times are arguments, in nanoseconds of the monotonic clock. */
#pragma once

#include <cstdint>
#include <limits>
#include <optional>

namespace kvgrab
{

/** Why a session was ended early. */
enum class EarlyEnd {
    None,
    AskedToEnd,
    NoFrames,
};

/** What is known when the guard looks, which it does while the driver runs. */
struct GuardView {
    bool terminating = false;    ///< a signal asked for the end
    bool interrupted = false;    ///< this session, before
    bool grabbing = false;       ///< it waits for frames
    std::int64_t newestNs = 0;   ///< the newest complete frame, or the start of grabbing before it
    std::int64_t noFramesNs = 0; ///< for how long frames may stay away; 0: without limit
};

struct GuardVerdict {
    EarlyEnd end = EarlyEnd::None; ///< why to interrupt now
    bool leave = false;            ///< end the process: the interruption did not end the session
    std::int64_t lookAgainNs = std::numeric_limits<std::int64_t>::max(); ///< at the latest
};

class SessionGuard
{
public:
    /** While frames come, the driver sees the signal at the next one. */
    static constexpr std::int64_t kGraceNs = 700'000'000;
    /** Otherwise (listing, opening, configuring, closing) nothing but the end of the step makes it
     *  look. */
    static constexpr std::int64_t kShortGraceNs = 300'000'000;
    /** For how long an interrupted session may take to end. */
    static constexpr std::int64_t kLeaveNs = 10'000'000'000;
    /** A guard that looks this much too late was stopped itself, as the whole program may have
     *  been; frames then get some time to arrive. */
    static constexpr std::int64_t kStallNs = 500'000'000;
    static constexpr std::int64_t kCatchUpNs = 1'000'000'000; ///< this long, if not less

    GuardVerdict Look(std::int64_t nowNs, const GuardView& view);

private:
    std::int64_t EndDueNs(std::int64_t nowNs, const GuardView& view);

    std::optional<std::int64_t> endDueNs_; ///< when a session that was asked to end is interrupted
    std::int64_t newestNs_ = 0;            ///< that the frame limit below is counted from
    std::int64_t framesDueNs_ = 0;
    std::int64_t noFramesNs_ = 0;
};

/** The limit for GuardView::noFramesNs. `configuredS`: session.no_frames_s, if it is set; otherwise
 *  10 s or five frame periods, whichever is longer, and no limit while the camera waits for a
 *  trigger. */
std::int64_t NoFramesLimitNs(std::optional<double> configuredS, std::uint32_t periodUs,
                             bool waitsForTrigger);

} // namespace kvgrab
