/** Sessions of driver and bare loop on a simulated camera in virtual time. */
#pragma once

#include <cstddef>
#include <cstdint>

namespace bench
{

/** The conditions on which the cost of a frame might depend. */
struct Load {
    std::uint32_t width = 640;
    std::uint32_t height = 480;
    std::uint32_t buffers = 8;
    std::size_t featuresLess = 0; ///< how many of the dispensable features the camera lacks
    std::uint64_t frames = 5'000;
};

/** Nanoseconds per round, measured over `frames` rounds after a warm-up. */
double DriverRoundNs(const Load& load);
double BareRoundNs(const Load& load);

/** Heap allocations in `frames` rounds of the driver, including those of platform and host. */
std::uint64_t DriverAllocations(const Load& load);

} // namespace bench
