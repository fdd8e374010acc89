#include "net/stream/hold_back.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace net
{

namespace
{

constexpr double kUsPerS = 1e6;
constexpr double kUsPerMs = 1e3;
constexpr double kLeastPauseUs = 20'000; ///< of a camera or a network that is busy otherwise
constexpr double kUnknownPeriodUs = 100'000;
constexpr double kMostUs = 4e9; ///< what the result can say
constexpr std::uint32_t kOtherBuffers = 3;

/** 0 for a feature that the camera hasn't, that can't be read now, or that has no finite value. */
double ValueOf(FeatureMap& features, const char* name)
{
    const GenApi_3_0::CFloatPtr feature = features.GetNode(name);
    const double value =
        feature && GenApi_3_0::IsReadable(feature->GetAccessMode()) ? feature->GetValue() : 0;
    return std::isfinite(value) ? value : 0;
}

bool IsOn(FeatureMap& features, const char* name)
{
    const GenApi_3_0::CEnumerationPtr feature = features.GetNode(name);
    return feature && GenApi_3_0::IsReadable(feature->GetAccessMode()) &&
           feature->ToString() != "Off";
}

} // namespace

Pace ReadPace(FeatureMap& features)
{
    Pace pace;
    const double rate = ValueOf(features, "AcquisitionFrameRate");
    if (rate > 0 && !IsOn(features, "TriggerMode")) {
        pace.periodUs = kUsPerS / rate;
    }
    pace.exposureUs = ValueOf(features, "ExposureTime");
    if (IsOn(features, "ExposureAuto")) {
        pace.exposureUs = std::max(pace.exposureUs, ValueOf(features, "exposureAutoMaxValue"));
    }
    return pace;
}

std::uint32_t HoldBackUs(const Pace& pace, std::uint32_t buffers, std::uint32_t frameTimeoutMs)
{
    const std::uint32_t periods = std::max(buffers, kOtherBuffers + 1) - kOtherBuffers;
    const double us = pace.periodUs > 0 ? pace.periodUs * periods : kUnknownPeriodUs;
    const double least = pace.exposureUs + kLeastPauseUs;
    return static_cast<std::uint32_t>(
        std::clamp(std::max(us, least), 0.0, std::min(frameTimeoutMs * kUsPerMs, kMostUs)));
}

} // namespace net
