/** Sessions on a simulated camera in virtual time, on both sides of the comparison. */
#pragma once

#include <cstddef>
#include <cstdint>

namespace bench
{

/** What a frame's cost might depend on. */
struct Load {
    std::uint32_t width = 640;
    std::uint32_t height = 480;
    std::uint32_t buffers = 8;
    std::size_t featuresLess = 0; ///< features that the camera lacks, of those that no round needs
    std::uint64_t frames = 5'000;
};

/** Nanoseconds of a round, over so many rounds of a session that runs already. */
double DriverRoundNs(const Load& load);
double BareRoundNs(const Load& load);

/** Heap allocations of so many rounds of the driver, platform and host included. */
std::uint64_t DriverAllocations(const Load& load);

} // namespace bench
