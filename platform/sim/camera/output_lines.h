/** The output lines of a simulated camera: a pulse with each exposure on the lines that are
 *  configured for it. Under the camera's lock; allocates nothing while frames flow. */
#pragma once

#include "sim/camera/camera_features.h"
#include "sim_control.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace sim
{

class OutputLines
{
public:
    static constexpr int kFirst = 3; ///< Line3 and Line4
    static constexpr int kLast = 4;

    explicit OutputLines(const LineFeatures& features) : features_(features) {}

    /** Records an exposure. Times are on the network's clock; `driftPpm` is the drift of the
     *  camera's. */
    void Exposed(std::uint64_t frame, std::int64_t startNs, std::int64_t endNs, double driftPpm);
    /** Fills `*waveform`. False when there is no such output line. */
    bool Describe(int line, LineWaveform* waveform) const;

private:
    static constexpr std::size_t kKept = 64;
    struct Pulses {
        std::array<StrobePulse, kKept> ring{};
        std::uint64_t count = 0;
    };
    const LineFeatures& features_;
    std::array<Pulses, kLast - kFirst + 1> pulses_;
};

} // namespace sim
