#include "report/clock_drift.h"

#include "report/median.h"
#include "report/tick_wrap.h"

#include <algorithm>
#include <cmath>

namespace kvgrab
{

namespace
{

constexpr std::size_t kFewest = 32; ///< least stretches for a fit: two seconds and more
constexpr std::size_t kApart = 8;   ///< slopes are taken over 1/kApart of the session

/** A camera's ticks may have any value: sums and differences of them wrap, as the ticks do. */
std::int64_t Sum(std::int64_t a, std::int64_t b)
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

std::int64_t Difference(std::int64_t a, std::int64_t b)
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b));
}

} // namespace

/** How late a frame came, apart from what the present slope explains; only good for comparisons. */
double ClockDrift::Delay(const Point& point) const
{
    return static_cast<double>(point.offsetNs) - slope_ * static_cast<double>(point.cameraNs);
}

void ClockDrift::Frame(std::int64_t cameraNs, std::int64_t arrivalNs)
{
    const bool first = count_ == 0;
    if (!first && cameraNs < lastCameraNs_) {
        takenOnNs_ = Sum(takenOnNs_, MissingNs(Sum(Difference(lastCameraNs_, cameraNs),
                                                   Difference(arrivalNs, lastArrivalNs_))));
    }
    lastCameraNs_ = cameraNs;
    lastArrivalNs_ = arrivalNs;
    const std::int64_t atNs = Sum(cameraNs, takenOnNs_);
    if (first) {
        firstOffsetNs_ = Difference(arrivalNs, atNs);
    }
    const Point point{atNs, Difference(Difference(arrivalNs, atNs), firstOffsetNs_)};
    if (!first && atNs < stretchEndNs_) {
        Point& least = points_[count_ - 1];
        least = Delay(point) < Delay(least) ? point : least;
        return;
    }
    if (count_ == kStretches) {
        Halve();
    }
    points_[count_++] = point;
    stretchEndNs_ = Sum(atNs, stretchNs_);
}

/** By how much the camera's clock went back, from the time that passed on the host, which is only
 *  as accurate as the arrivals. */
std::int64_t ClockDrift::MissingNs(std::int64_t seenNs) const
{
    const double wrapNs = WrapNs(static_cast<double>(seenNs), nsPerTick_);
    return wrapNs != 0 ? std::llround(wrapNs) : seenNs;
}

/** Merges stretches in pairs; new ones are twice as long from now on. */
void ClockDrift::Halve()
{
    Slopes slopes = SlopesBetween();
    if (slopes.count > 0) {
        slope_ = MedianOf(slopes.values.data(), slopes.count);
    }
    for (std::size_t i = 0; i < count_ / 2; ++i) {
        const Point& a = points_[2 * i];
        const Point& b = points_[2 * i + 1];
        points_[i] = Delay(b) < Delay(a) ? b : a;
    }
    count_ /= 2;
    stretchNs_ *= 2;
}

ClockDrift::Slopes ClockDrift::SlopesBetween() const
{
    Slopes slopes;
    const std::size_t apart = std::max<std::size_t>(count_ / kApart, 1);
    for (std::size_t i = 0; i + apart < count_; ++i) {
        const Point& a = points_[i];
        const Point& b = points_[i + apart];
        if (b.cameraNs > a.cameraNs) {
            slopes.values[slopes.count++] = static_cast<double>(b.offsetNs - a.offsetNs) /
                                            static_cast<double>(b.cameraNs - a.cameraNs);
        }
    }
    return slopes;
}

std::optional<ClockDrift::Estimate> ClockDrift::Fit() const
{
    constexpr double kNsPerS = 1e9;
    Slopes slopes = SlopesBetween();
    if (count_ < kFewest || slopes.count < kFewest / 2) {
        return std::nullopt;
    }
    Estimate estimate;
    const double slope = MedianOf(slopes.values.data(), slopes.count);
    for (std::size_t i = 0; i < slopes.count; ++i) {
        slopes.values[i] = std::abs(slopes.values[i] - slope);
    }
    // From a standard deviation to the standard error of a median of normal errors.
    constexpr double kOfMedian = 1.2533;
    const double error = kOfMedian * kDeviationOfMedian *
                         MedianOf(slopes.values.data(), slopes.count) /
                         std::sqrt(static_cast<double>(slopes.count));
    // Per second of the host's clock, since that is how the stamps are corrected.
    estimate.nsPerS = slope / (1 + slope) * kNsPerS;
    estimate.uncertainNsPerS = 2 * error * kNsPerS;
    estimate.seconds =
        static_cast<double>(points_[count_ - 1].cameraNs - points_[0].cameraNs) / kNsPerS;
    return estimate;
}

} // namespace kvgrab
