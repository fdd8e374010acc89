/** The machine's monotonic clock as the simulated network sees it. */
#pragma once

#include "sim_control.h"

#include <memory>

namespace sim
{

std::shared_ptr<Clock> RealClock();

} // namespace sim
