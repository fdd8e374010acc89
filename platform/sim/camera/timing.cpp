#include "sim/camera/timing.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace sim
{

namespace
{

__extension__ typedef __int128 Wide; // ticks times nanoseconds don't fit 64 bits

} // namespace

double FrameCost::ShortestPeriodUs() const
{
    return std::max({exposureUs, readoutUs, transferUs, 1.0});
}

FrameCost CostOfFrame(double exposureUs, std::uint32_t lines, std::uint64_t bytes, double lineUs,
                      double linkMBytesPerSecond)
{
    FrameCost cost;
    cost.exposureUs = exposureUs;
    cost.readoutUs = lineUs * lines;
    if (linkMBytesPerSecond > 0) {
        cost.transferUs = static_cast<double>(bytes) / linkMBytesPerSecond;
    }
    return cost;
}

double HighestRate(const FrameCost& cost)
{
    const double rate = std::floor(1e6 / cost.ShortestPeriodUs() * 128) / 128;
    return std::clamp(rate, kLowestRate, kHighestRate);
}

std::int64_t ClockNs(double cameraUs, double driftPpm)
{
    return std::llround(cameraUs * 1000 / (1 + driftPpm * 1e-6));
}

TickCounter::TickCounter(const CameraSetup& setup)
    : frequency_(setup.tickFrequency == 0 ? 1'000'000'000 : setup.tickFrequency),
      offset_(static_cast<std::uint64_t>(setup.tickOffset)), bits_(setup.tickBits),
      driftPpm_(setup.driftPpm)
{
}

std::uint64_t TickCounter::At(std::int64_t clockNs)
{
    for (const Step& jump : jumps_) {
        offset_ += jump.atNs <= clockNs ? static_cast<std::uint64_t>(jump.ticks) : 0;
    }
    std::erase_if(jumps_, [&](const Step& jump) { return jump.atNs <= clockNs; });

    const Wide steady = static_cast<Wide>(clockNs) * static_cast<Wide>(frequency_) / 1'000'000'000;
    const long double ahead = static_cast<long double>(steady) * driftPpm_ * 1e-6L;
    const std::uint64_t ticks = static_cast<std::uint64_t>(steady) + offset_ +
                                static_cast<std::uint64_t>(std::llrint(ahead));
    return bits_ == 64 ? ticks : ticks & ((std::uint64_t{1} << bits_) - 1);
}

void TickCounter::Jump(std::int64_t atNs, std::int64_t ticks)
{
    jumps_.push_back({atNs, ticks});
}

void TickCounter::ForgetFuture(std::int64_t nowNs)
{
    std::erase_if(jumps_, [&](const Step& jump) { return jump.atNs > nowNs; });
}

double Random::Uniform()
{
    state_ += 0x9E3779B97F4A7C15U; // splitmix64
    std::uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
    mixed ^= mixed >> 31;
    return static_cast<double>(mixed >> 11) * 0x1p-53;
}

double Random::Normal()
{
    const double radius = std::sqrt(-2 * std::log(1 - Uniform()));
    return radius * std::cos(2 * std::numbers::pi * Uniform());
}

} // namespace sim
