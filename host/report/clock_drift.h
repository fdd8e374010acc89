/** How fast the host's clock gains on the camera's, from the frames of a session. */
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <optional>

namespace kvgrab
{

/** Takes each frame's camera time and arrival, keeps a few hundred of them for a session of any
 *  length, and fits a line through those that were delayed least.
 *
 *  Arrivals are late, never early, and some are very late, so each stretch of time is represented
 *  by its frame with the least delay. The slope is the median of the slopes between stretches that
 *  are an eighth of the session apart, so that neither outliers nor a step of the host's clock
 *  affect it. When the camera's clock goes back a new piece begins; pieces are not compared.
 *  Allocates nothing. */
class ClockDrift
{
public:
    explicit ClockDrift(double nsPerTick) : nsPerTick_(nsPerTick) {}

    /** Both in nanoseconds, of any epoch. Frames come in order. */
    void Frame(std::int64_t cameraNs, std::int64_t arrivalNs);

    struct Estimate {
        double nsPerS = 0;          ///< value for timing.drift_ns_per_s
        double uncertainNsPerS = 0; ///< two standard errors
        double seconds = 0;         ///< of frames that it is based on
        /** Whether it is clearly different from 0: by more than four standard errors. */
        bool IsSignificant() const { return std::abs(nsPerS) > 2 * uncertainNsPerS; }
    };
    /** Returns nothing until there are some seconds of frames. */
    std::optional<Estimate> Fit() const;

private:
    std::int64_t MissingNs(std::int64_t seenNs) const;

    static constexpr std::size_t kStretches = 256;
    static constexpr std::int64_t kFirstStretchNs = 62'500'000;

    struct Point {
        std::int64_t cameraNs = 0;
        std::int64_t offsetNs = 0; ///< arrival - camera, from the first frame's
    };
    struct Slopes {
        std::array<double, kStretches> values;
        std::size_t count = 0;
    };
    double Delay(const Point& point) const;
    void Halve();
    /** Nanoseconds per nanosecond, between points an eighth apart. */
    Slopes SlopesBetween() const;

    const double nsPerTick_;
    std::array<Point, kStretches> points_{};
    std::size_t count_ = 0;
    std::int64_t stretchNs_ = kFirstStretchNs;
    std::int64_t stretchEndNs_ = 0;
    std::int64_t firstOffsetNs_ = 0;
    std::int64_t lastCameraNs_ = 0;
    std::int64_t lastArrivalNs_ = 0;
    std::int64_t takenOnNs_ = 0; ///< sum of the steps back of the camera's clock
    double slope_ = 0;           ///< of the last fit, to compare the delays of two frames
};

} // namespace kvgrab
