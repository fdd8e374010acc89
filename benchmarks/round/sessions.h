/** Sessions on a simulated camera in virtual time, on both sides of the comparison. */
#pragma once

#include <cstddef>
#include <cstdint>

namespace bench
{

/** What the cost of a frame might depend on. */
struct Load {
    std::uint32_t width = 640;
    std::uint32_t height = 480;
    std::uint32_t buffers = 8;
    std::size_t featuresLess = 0; ///< how many of the features that no round needs the camera lacks
    std::uint64_t frames = 5'000;
};

/** Nanoseconds per round, measured over `frames` rounds after a warm-up. */
double DriverRoundNs(const Load& load);
double BareRoundNs(const Load& load);

/** Heap allocations in `frames` rounds of the driver, those of platform and host included. */
std::uint64_t DriverAllocations(const Load& load);

} // namespace bench
