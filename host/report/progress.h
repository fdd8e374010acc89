/** Counts of a run, and the status line and summary made from them. Grab thread only; times are
 *  arguments, in nanoseconds of the monotonic clock. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kvgrab
{

/** Frames that never reached the driver, or reached it incomplete. */
struct TransferCounts {
    std::uint64_t number = 0;          ///< number of the transfer in this process; 0: none
    std::uint64_t lost = 0;            ///< on the link
    std::uint64_t incomplete = 0;      ///< arrived with data missing
    std::uint64_t underruns = 0;       ///< found no free buffer
    std::uint64_t packetsReceived = 0; ///< network cameras only, like the next two
    std::uint64_t packetsResent = 0;
    std::uint64_t packetsMissing = 0;
    // Of the newest transfer, for NoFramesReason. Zero without packets, as packetSize shows.
    std::uint64_t packetSize = 0;                ///< bytes
    std::uint64_t packetsOfFrame = 0;            ///< of a complete one
    std::uint64_t packetsOfNewestIncomplete = 0; ///< that arrived
    std::uint64_t unknownPayload = 0;            ///< frames of an unknown payload type
    bool startRefused = false;
    std::uint64_t Dropped() const { return lost + incomplete + underruns; }
    TransferCounts& operator+=(const TransferCounts& more);
};

/** Counts of the export. */
struct PictureCounts {
    bool wanted = false; ///< export is configured
    std::uint64_t exported = 0;
    std::uint64_t skipped = 0; ///< the queue was full
    std::uint64_t failed = 0;
    std::string directory; ///< empty: standard output
};

/** The newest values for the status line. */
struct StatusValues {
    PictureCounts pictures;
    std::uint64_t framesWanted = 0; ///< in the whole run; 0: no limit
    float gainDb = 0;
    float exposureUs = 0;
    std::uint32_t frameBytes = 0;
    std::uint64_t dropped = 0;
    std::uint64_t packetsResent = 0;
    std::uint64_t packetsMissing = 0;
    std::size_t settingsNotTaken = 0; ///< by the camera
};

class Progress
{
public:
    void FrameGrabbed(std::int64_t nowNs, float temperature);
    void FrameMissed(std::int64_t nowNs);
    void SetPeriodUs(std::uint32_t periodUs) { periodUs_ = periodUs; }
    std::uint32_t PeriodUs() const { return periodUs_; }

    /** True when it is time for a new status line: five times a second at most. */
    bool StatusDue(std::int64_t nowNs);
    /** "150 of 1000 frames, 149 exported, 0 skipped, 0 failed, 0 dropped, 99.8 fps, 9 s left", and
     *  behind it what matters less, since a terminal may cut the line. */
    std::string StatusLine(const StatusValues& values) const;

    std::uint64_t Grabbed() const { return grabbed_; }
    double Rate() const { return rate_; } ///< frames per second
    std::optional<float> Temperature() const
    {
        return hasTemperature_ ? std::optional(temperature_) : std::nullopt;
    }

    /** Two lines, one more if anything was lost, and one more if packets were counted; each ends
     *  with a line feed. */
    std::string Summary(const PictureCounts& pictures, const TransferCounts& transfers,
                        std::int64_t runNs) const;

private:
    void UpdateRate(std::int64_t nowNs);

    std::uint64_t grabbed_ = 0;
    std::uint64_t missed_ = 0;
    float temperature_ = 0;
    bool hasTemperature_ = false;
    std::uint32_t periodUs_ = 0;
    std::int64_t statusDueNs_ = 0;
    // The rate is taken over spans of a second; the first one grows until it is that long.
    std::int64_t spanBeginNs_ = 0;
    std::uint64_t spanBeginFrames_ = 0;
    bool firstSpan_ = true;
    double rate_ = 0;
};

/** Decides when to report what kvgrab is waiting for: at once, and then once a minute while
 *  it stays the same. */
class WaitNotice
{
public:
    bool Due(int what, std::int64_t nowNs);
    void Over() { waiting_ = false; }

private:
    bool waiting_ = false;
    int what_ = 0;
    std::int64_t nextNs_ = 0;
};

} // namespace kvgrab
