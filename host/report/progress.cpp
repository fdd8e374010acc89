#include "report/progress.h"

#include "kv_td_types.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <iterator>

namespace kvgrab
{

namespace
{

constexpr std::int64_t kSecondNs = 1'000'000'000;
constexpr std::int64_t kStatusNs = kSecondNs / 5;
constexpr std::int64_t kNoticeNs = 60 * kSecondNs;

/** "9 s", "12:05" (minutes), "2:13:05" (hours), "3 days". */
std::string DurationText(double seconds)
{
    constexpr std::uint64_t kMinute = 60;
    constexpr std::uint64_t kHour = 60 * kMinute;
    constexpr std::uint64_t kDay = 24 * kHour;
    const auto all = static_cast<std::uint64_t>(std::min(std::ceil(seconds), 1e15));
    if (all < kMinute) {
        return fmt::format("{} s", all);
    }
    if (all < kHour) {
        return fmt::format("{}:{:02}", all / kMinute, all % kMinute);
    }
    if (all < 2 * kDay) {
        return fmt::format("{}:{:02}:{:02}", all / kHour, all / kMinute % kMinute, all % kMinute);
    }
    return fmt::format("{} days", all / kDay);
}

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
    const PictureCounts& pictures = values.pictures;
    std::string line = values.framesWanted == 0
                           ? fmt::format("{} frames", grabbed_)
                           : fmt::format("{} of {} frames", grabbed_, values.framesWanted);
    const auto out = std::back_inserter(line);
    if (pictures.wanted) {
        fmt::format_to(out, ", {} exported, {} skipped, {} failed", pictures.exported,
                       pictures.skipped, pictures.failed);
    }
    fmt::format_to(out, ", {} dropped, {:.1f} fps", values.dropped, rate_);
    if (values.framesWanted > grabbed_ && rate_ > 0) {
        fmt::format_to(out, ", {} left",
                       DurationText(static_cast<double>(values.framesWanted - grabbed_) / rate_));
    }
    if (values.settingsNotTaken != 0) {
        fmt::format_to(out, ", {} setting{} not taken", values.settingsNotTaken,
                       values.settingsNotTaken == 1 ? "" : "s");
    }
    if (values.packetsResent != 0 || values.packetsMissing != 0) {
        fmt::format_to(out, ", packets {} resent {} missing", values.packetsResent,
                       values.packetsMissing);
    }
    if (values.exposureUs > 0) { // known from the first frame on
        fmt::format_to(out, ", {:.0f} us, {:.1f} dB", values.exposureUs, values.gainDb);
    }
    if (hasTemperature_) {
        fmt::format_to(out, ", {:.1f} C", temperature_);
    }
    fmt::format_to(out, ", {:.1f} MB/s", rate_ * values.frameBytes / 1e6);
    return line;
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
    } else if (pictures.directory.empty()) {
        summary += "pictures went to standard output; the first frame of a session only starts the "
                   "clock and is never exported\n";
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
