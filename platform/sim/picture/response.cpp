#include "sim/picture/response.h"

#include <algorithm>

namespace sim
{

namespace
{

/** A factor that makes level 1 white is as good as any larger one. */
constexpr double kWhiteFactor = double{kLightMax} + 1;

double ChannelFactor(const PictureJob& job, Channel channel)
{
    const double balance = IsColor(job.pixelFormat) ? job.balance[channel] : 1;
    const double factor = job.exposureUs / kReferenceExposureUs * job.gain * balance;
    return factor > 0 ? std::min(factor, kWhiteFactor) : 0; // 0 also when it is not a number
}

} // namespace

Response::Response()
{
    PictureJob plain;
    plain.pixelFormat = kYuv422Packed;
    Set(plain);
}

void Response::Set(const PictureJob& job)
{
    tone_ = job.tone;
    for (const Channel channel : {kRed, kGreen, kBlue}) {
        if (channel != kGreen && !IsColor(job.pixelFormat)) {
            continue;
        }
        const double factor = ChannelFactor(job, channel);
        if (version_ < kChannels || factor != factors_[channel] || tone_ != built_[channel]) {
            factors_[channel] = factor;
            Rebuild(channel);
        }
    }
}

void Response::Rebuild(Channel channel)
{
    const double factor = factors_[channel];
    auto& table = tables_[channel];
    for (std::size_t light = 0; light <= kLightMax; ++light) {
        const auto sample = static_cast<std::int32_t>(static_cast<double>(light) * factor + 0.5);
        table[light] = static_cast<std::uint16_t>(std::min<std::int32_t>(sample, kSampleMax));
    }
    if (tone_ != nullptr) {
        for (std::uint16_t& sample : table) {
            sample = Tone(channel, sample);
        }
    }
    built_[channel] = tone_;
    ++version_;
}

void Response::Apply(Channel channel, const std::uint16_t* light, std::size_t count,
                     std::uint16_t* samples) const
{
    const auto& table = tables_[channel];
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = table[light[i] & kLightMax];
    }
}

} // namespace sim
