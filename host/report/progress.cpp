#include "report/progress.h"

#include "kv_td_types.h"

#include <array>
#include <cinttypes>
#include <cstdio>

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
    std::array<char, 64> temperature{"no temperature"};
    if (hasTemperature_) {
        std::snprintf(temperature.data(), temperature.size(), "%.1f C",
                      static_cast<double>(temperature_));
    }
    std::array<char, 64> nominal{};
    if (periodUs_ != 0) {
        std::snprintf(nominal.data(), nominal.size(), " of %.1f", 1e6 / periodUs_);
    }
    std::array<char, 80> packets{};
    if (values.packetsResent != 0 || values.packetsMissing != 0) {
        std::snprintf(packets.data(), packets.size(),
                      ", packets %" PRIu64 " resent %" PRIu64 " missing", values.packetsResent,
                      values.packetsMissing);
    }
    std::array<char, 300> line{};
    std::snprintf(line.data(), line.size(),
                  "%" PRIu64 " frames, %.1f%s fps, %" PRIu64
                  " dropped%s, exposure %.0f us, gain %.1f dB, %s, %.1f MB/s",
                  grabbed_, rate_, nominal.data(), values.dropped, packets.data(),
                  static_cast<double>(values.exposureUs), static_cast<double>(values.gainDb),
                  temperature.data(), rate_ * values.frameBytes / 1e6);
    return line.data();
}

std::string Progress::Summary(const PictureCounts& pictures, const TransferCounts& transfers,
                              std::int64_t runNs) const
{
    std::array<char, 600> text{};
    std::snprintf(text.data(), text.size(),
                  "grabbed %" PRIu64 ", exported %" PRIu64 ", skipped %" PRIu64 ", failed %" PRIu64
                  ", dropped %" PRIu64 ", time %.1f s\n",
                  grabbed_, pictures.exported, pictures.skipped, pictures.failed,
                  transfers.Dropped(), static_cast<double>(runNs) / 1e9);
    std::string summary = text.data();
    if (transfers.Dropped() != 0 || missed_ != 0) {
        std::snprintf(text.data(), text.size(),
                      "dropped: %" PRIu64 " lost on the link, %" PRIu64 " incomplete, %" PRIu64
                      " without a free buffer; waits without a frame: %" PRIu64 "\n",
                      transfers.lost, transfers.incomplete, transfers.underruns, missed_);
        summary += text.data();
    }
    if (transfers.packetsReceived != 0) {
        std::snprintf(text.data(), text.size(),
                      "packets: %" PRIu64 " received, %" PRIu64 " resent, %" PRIu64 " missing\n",
                      transfers.packetsReceived, transfers.packetsResent, transfers.packetsMissing);
        summary += text.data();
    }
    if (!pictures.wanted) {
        return summary + "no pictures were asked for (--export png writes them)\n";
    }
    if (pictures.exported == 0) {
        return summary + "no picture was written\n";
    }
    return summary + "pictures are in " + pictures.directory +
           "; the first frame of a session only starts the clock and is never exported\n";
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
