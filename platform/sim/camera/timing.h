/** What a frame costs in time, and the camera's tick counter. Pure arithmetic. */
#pragma once

#include "sim_control.h"

#include <cstdint>
#include <vector>

namespace sim
{

/** The parts of a frame's way, microseconds of the camera's own clock. */
struct FrameCost {
    double exposureUs = 0;
    double readoutUs = 0;
    double transferUs = 0;
    /** Exposure, read-out and transfer of successive frames overlap; the slowest sets the pace. */
    double ShortestPeriodUs() const;
};

/** `linkMBytesPerSecond` 0 or less: a link that takes no time. */
FrameCost CostOfFrame(double exposureUs, std::uint32_t lines, std::uint64_t bytes,
                      double linkMBytesPerSecond);

constexpr double kLowestRate = 0.1;   ///< Hz
constexpr double kHighestRate = 1000; ///< Hz
/** The highest frame rate, in steps of 1/128 Hz, so that it survives a trip through a float. */
double HighestRate(const FrameCost& cost);

/** Nanoseconds of the clock for microseconds of the camera, which may run fast or slow. */
std::int64_t ClockNs(double cameraUs, double driftPpm);

/** Ticks at a time of the clock; wraps as the camera's counter does. */
class TickCounter
{
public:
    explicit TickCounter(const CameraSetup& setup);
    /** Times are asked for in rising order: jumps that are past become part of the offset. */
    std::uint64_t At(std::int64_t clockNs);
    /** The counter jumps once, for good. */
    void Jump(std::int64_t atNs, std::int64_t ticks);
    /** Takes back the jumps that have not happened. */
    void ForgetFuture(std::int64_t nowNs);

private:
    struct Step {
        std::int64_t atNs;
        std::int64_t ticks;
    };
    std::uint64_t frequency_;
    std::uint64_t offset_; // arithmetic on ticks wraps
    unsigned bits_;
    double driftPpm_;
    std::vector<Step> jumps_;
};

/** Uniform and normal numbers from a seed; the same on every machine. */
class Random
{
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}
    double Uniform(); ///< in [0, 1)
    double Normal();  ///< mean 0, standard deviation 1

private:
    std::uint64_t state_;
};

} // namespace sim
