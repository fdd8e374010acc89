/** The pulses that something outside the camera sends to one of its input lines: a steady train, or
 *  pulses at given times. Pure arithmetic; times are nanoseconds on the network's clock. */
#pragma once

#include "sim_control.h"

#include <cstdint>
#include <limits>
#include <vector>

namespace sim
{

class InputPulses
{
public:
    static constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

    /** The pulses of `setup` for a camera that is powered up at `powerUpNs`. */
    InputPulses(const CameraSetup& setup, std::int64_t powerUpNs);

    /** When the first pulse begins, or ends, at `fromNs` or later; kNever when none does. */
    std::int64_t NextBeginNs(std::int64_t fromNs) const;
    std::int64_t NextEndNs(std::int64_t fromNs) const;

private:
    std::int64_t powerUpNs_;
    double periodNs_; ///< of the train; 0: there is none
    std::int64_t lengthNs_;
    std::vector<std::int64_t> singleNs_; ///< beginnings, sorted
};

} // namespace sim
