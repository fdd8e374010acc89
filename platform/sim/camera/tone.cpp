#include "sim/camera/tone.h"

#include "sim/picture/pixel_packing.h"

#include <algorithm>
#include <cmath>

namespace sim
{

namespace
{

constexpr std::size_t kSamples = kSampleMax + 1;

void FillFromTable(const ToneFeatures& tone, ToneCurve* curve)
{
    const auto bits =
        static_cast<unsigned>(std::clamp<std::int64_t>(tone.size->Value(), 1, kSampleBits));
    const unsigned shift = kSampleBits - bits;
    const std::int64_t last = (std::int64_t{1} << bits) - 1;
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        const std::size_t table = std::min(channel, tone.channels - 1) * ToneFeatures::kMostEntries;
        for (std::size_t sample = 0; sample < kSamples; ++sample) {
            const std::int64_t entry = tone.entries->At(table + (sample >> shift));
            const auto kept = static_cast<unsigned>(std::clamp<std::int64_t>(entry, 0, last));
            curve->samples[channel][sample] = static_cast<std::uint16_t>(kept << shift);
        }
    }
}

void FillFromGamma(double gamma, ToneCurve* curve)
{
    constexpr double kWhite = kSampleMax;
    const double exponent = gamma > 0 ? gamma : 1; // a script may store anything
    for (std::size_t sample = 0; sample < kSamples; ++sample) {
        const double out = kWhite * std::pow(static_cast<double>(sample) / kWhite, exponent);
        for (auto& channel : curve->samples) {
            channel[sample] = static_cast<std::uint16_t>(std::lround(out));
        }
    }
}

} // namespace

std::shared_ptr<const ToneCurve> ToneMaker::Current(const ToneFeatures& tone)
{
    if (revision_ == tone.revision) {
        return curve_;
    }
    revision_ = tone.revision;
    curve_ = nullptr;
    if (tone.mode->Symbolic() != "Active") {
        return nullptr;
    }
    auto curve = std::make_shared<ToneCurve>();
    if (tone.type->Symbolic() == "GammaCorrection") {
        FillFromGamma(tone.gamma->Value(), curve.get());
    } else {
        FillFromTable(tone, curve.get());
    }
    curve_ = std::move(curve);
    return curve_;
}

} // namespace sim
