/** The driver's clock in tests: one manual clock for driver and cameras, and a wall clock that
 *  tests can set, as an administrator does. Grab thread only. */
#pragma once

#include "sim_control.h"

#include <cstdint>
#include <memory>

namespace rig
{

struct ManualTime {
    static constexpr std::int64_t kStartNs = 10'000'000'000;

    std::shared_ptr<sim::ManualClock> clock = std::make_shared<sim::ManualClock>(kStartNs);
    std::int64_t wallStepUs = 0; ///< how far the wall clock was set forward; the camera's was not

    void AdvanceUs(std::int64_t us) { clock->AdvanceNs(us * 1000); }

    static inline ManualTime* current = nullptr; ///< the one that the driver asks
};

} // namespace rig
