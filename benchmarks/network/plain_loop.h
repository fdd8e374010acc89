/** The other side of the comparison: the network library alone, in a minimal loop that receives
 *  frames and makes the same camera accesses for each as the driver. */
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

/** Receives frames and prints "received N failed N took N us", timed from the first frame to the
 *  last. Returns the exit status. */
int RunPlainLoop(const PlainLoop& plan);

} // namespace bench
