#include "report/progress.h"

#include "kv_td_types.h"

#include <fmt/format.h>

namespace kvgrab
{

namespace
{

constexpr std::int64_t kSecondNs = 1'000'000'000;
constexpr std::int64_t kStatusNs = kSecondNs / 5;
constexpr std::int64_t kNoticeNs = 60 * kSecondNs;

} // namespace

TransferCounts& TransferCounts::operator+=(const TransferCounts& more)
{
    lost += more.lost;
    incomplete += more.incomplete;
    underruns += more.underruns;
    packetsReceived += more.packetsReceived;
    packetsResent += more.packetsResent;
    packetsMissing += more.packetsMissing;
    return *this;
}

void Progress::FrameGrabbed(std::int64_t nowNs, float temperature)
{
    ++grabbed_;
    hasTemperature_ = temperature != KvTd::kNoTemperature;
    temperature_ = temperature;
    UpdateRate(nowNs);
}

void Progress::FrameMissed(std::int64_t nowNs)
{
    ++missed_;
    UpdateRate(nowNs);
}

void Progress::UpdateRate(std::int64_t nowNs)
{
    if (spanBeginNs_ == 0) {
        spanBeginNs_ = nowNs;
        spanBeginFrames_ = grabbed_; // this frame only begins the span
        return;
    }
    const std::int64_t spanNs = nowNs - spanBeginNs_;
    const bool whole = spanNs >= kSecondNs;
    if ((!whole && !firstSpan_) || spanNs <= 0) {
        return;
    }
    rate_ = static_cast<double>(grabbed_ - spanBeginFrames_) * static_cast<double>(kSecondNs) /
            static_cast<double>(spanNs);
    if (whole) {
        firstSpan_ = false;
        spanBeginNs_ = nowNs;
        spanBeginFrames_ = grabbed_;
    }
}

bool Progress::StatusDue(std::int64_t nowNs)
{
    if (nowNs < statusDueNs_) {
        return false;
    }
    statusDueNs_ = nowNs + kStatusNs;
    return true;
}

std::string Progress::StatusLine(const StatusValues& values) const
{
    const std::string nominal = periodUs_ == 0 ? "" : fmt::format(" of {:.1f}", 1e6 / periodUs_);
    const std::string packets = values.packetsResent == 0 && values.packetsMissing == 0
                                    ? ""
                                    : fmt::format(", packets {} resent {} missing",
                                                  values.packetsResent, values.packetsMissing);
    const std::string temperature =
        hasTemperature_ ? fmt::format("{:.1f} C", temperature_) : "no temperature";
    const std::string settings =
        values.settingsNotTaken == 0
            ? ""
            : fmt::format(", {} setting{} not taken", values.settingsNotTaken,
                          values.settingsNotTaken == 1 ? "" : "s");
    return fmt::format("{} frames, {:.1f}{} fps, {} dropped{}, exposure {:.0f} us, gain {:.1f} dB, "
                       "{}, {:.1f} MB/s{}",
                       grabbed_, rate_, nominal, values.dropped, packets, values.exposureUs,
                       values.gainDb, temperature, rate_ * values.frameBytes / 1e6, settings);
}

std::string Progress::Summary(const PictureCounts& pictures, const TransferCounts& transfers,
                              std::int64_t runNs) const
{
    std::string summary =
        fmt::format("grabbed {}, exported {}, skipped {}, failed {}, dropped {}, time {:.1f} s\n",
                    grabbed_, pictures.exported, pictures.skipped, pictures.failed,
                    transfers.Dropped(), static_cast<double>(runNs) / 1e9);
    if (transfers.Dropped() != 0 || missed_ != 0) {
        summary += fmt::format("dropped: {} lost on the link, {} incomplete, {} without a free "
                               "buffer; waits without a frame: {}\n",
                               transfers.lost, transfers.incomplete, transfers.underruns, missed_);
    }
    if (transfers.packetsReceived != 0) {
        summary +=
            fmt::format("packets: {} received, {} resent, {} missing\n", transfers.packetsReceived,
                        transfers.packetsResent, transfers.packetsMissing);
    }
    if (!pictures.wanted) {
        summary += "no pictures were asked for (--export png writes them)\n";
    } else if (pictures.exported == 0) {
        summary += "no picture was written\n";
    } else {
        summary += fmt::format("pictures are in {}; the first frame of a session only starts the "
                               "clock and is never exported\n",
                               pictures.directory);
    }
    return summary;
}

bool WaitNotice::Due(int what, std::int64_t nowNs)
{
    if (waiting_ && what == what_ && nowNs < nextNs_) {
        return false;
    }
    waiting_ = true;
    what_ = what;
    nextNs_ = nowNs + kNoticeNs;
    return true;
}

} // namespace kvgrab
