/** The other side of the comparison: the network library alone, in the shortest loop that receives
 *  frames and makes the driver's camera accesses for each. */
#pragma once

#include <cstdint>
#include <string>

namespace bench
{

/** Short enough not to limit the frame rate. */
constexpr double kExposureUs = 100;

struct PlainLoop {
    std::string address;
    std::int64_t width = 0;  ///< pixels
    std::int64_t height = 0; ///< lines
    double fps = 0;
    int packetSize = 0; ///< bytes
    int buffers = 0;
    std::uint64_t frames = 0; ///< complete ones to receive
};

/** Prints "received N failed N took N us", from the first frame to the last, and returns the exit
 *  status. */
int RunPlainLoop(const PlainLoop& plan);

} // namespace bench
