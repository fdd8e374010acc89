/** How long a frame takes, and the camera's tick counter. Pure arithmetic. */
#pragma once

#include "sim_control.h"

#include <cstdint>
#include <vector>

namespace sim
{

/** The durations of a frame's stages, in microseconds of the camera's own clock. */
struct FrameCost {
    double exposureUs = 0;
    double readoutUs = 0;
    double transferUs = 0;
    /** Exposure, read-out and transfer of successive frames overlap; the slowest sets the pace. */
    double ShortestPeriodUs() const;
};

/** `linkMBytesPerSecond` 0 or less means that the transfer takes no time. */
FrameCost CostOfFrame(double exposureUs, std::uint32_t lines, std::uint64_t bytes, double lineUs,
                      double linkMBytesPerSecond);

constexpr double kLowestRate = 0.1;   ///< Hz
constexpr double kHighestRate = 1000; ///< Hz
/** The highest frame rate, in steps of 1/128 Hz, so that converting it to float and back is exact.
 */
double HighestRate(const FrameCost& cost);

/** Converts microseconds of the camera's clock, which may run fast or slow, into nanoseconds of the
 *  network's clock. */
std::int64_t ClockNs(double cameraUs, double driftPpm);

/** The camera's tick counter at a given time, including its wrap-around. */
class TickCounter
{
public:
    explicit TickCounter(const CameraSetup& setup);
    /** Call it with rising times: jumps before `clockNs` become part of the offset. */
    std::uint64_t At(std::int64_t clockNs);
    /** Makes the counter jump once; the jump stays in all later values. */
    void Jump(std::int64_t atNs, std::int64_t ticks);
    /** Cancels the jumps that have not happened yet. */
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

/** Uniformly and normally distributed random numbers, the same on every machine for one seed. */
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
